// Menus from one table: item texts with their accelerators, the command each sends.
#include "desktop/main_window.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLayout>
#include <QMenuBar>
#include <QMessageBox>
#include <QTimer>
#include <QVBoxLayout>
#include <string>

#include "common/host_services.h"
#include "common/remote/remote.h"
#include "desktop/disk_menu.h"
#include "desktop/file_opening.h"
#include "desktop/screen_widget.h"
#include "desktop/shell.h"
#include "desktop/tape_menu.h"

namespace {

constexpr int kSeparator = 0;
constexpr const char* kVersionTemplate = "Brallivane for Linux v. %1%2";

struct MenuItem {
    const char* text;
    int command;  // kSeparator for a separator row
    QKeyCombination accelerator;
};

struct Popup {
    const char* title;
    std::vector<MenuItem> items;
};

const QKeyCombination kNone{};

const std::vector<Popup>& Menus() {
    static const std::vector<Popup> menus = {
        {"&File",
         {{"Save &Screen\tF4", CMD_SAVE_SCREEN, kNone},
          {nullptr, kSeparator, kNone},
          {"&Load snapshot...", CMD_LOAD_SNAPSHOT, kNone},
          {"Save s&napshot...", CMD_SAVE_SNAPSHOT, kNone},
          {nullptr, kSeparator, kNone},
          {"&Exit\tAlt+F4", CMD_EXIT, kNone}}},
        {"&System",
         {{"464", CMD_MODEL_464, kNone},
          {"464+FDI", CMD_MODEL_464_FDI, kNone},
          {"664", CMD_MODEL_664, kNone},
          {"6128", CMD_MODEL_6128, kNone},
          {nullptr, kSeparator, kNone},
          {"CRTC type 1", CMD_CRTC_1, kNone},
          {"CRTC type 0", CMD_CRTC_0, kNone},
          {nullptr, kSeparator, kNone},
          {"Offset screen Left\tCtrl+F8", CMD_OFFSET_LEFT, Qt::CTRL | Qt::Key_F8},
          {"Offset screen &Right\tCtrl+F9", CMD_OFFSET_RIGHT, Qt::CTRL | Qt::Key_F9},
          {nullptr, kSeparator, kNone},
          {"&Zoom 1", CMD_ZOOM_1, kNone},
          {"Zoom &2", CMD_ZOOM_1 + 1, kNone},
          {"Zoom &3", CMD_ZOOM_1 + 2, kNone},
          {"Zoom &4", CMD_ZOOM_1 + 3, kNone}}},
        {"&Emulation",
         {{"&Reset\tF2", CMD_RESET, QKeyCombination(Qt::Key_F2)},
          {"Pause\tF3", CMD_PAUSE, QKeyCombination(Qt::Key_F3)},
          {"R&un\tCtrl+F5", CMD_RUN, Qt::CTRL | Qt::Key_F5},
          {nullptr, kSeparator, kNone},
          {"Actual Speed\tF9", CMD_ACTUAL_SPEED, QKeyCombination(Qt::Key_F9)},
          {nullptr, kSeparator, kNone},
          {"Best\tCtrl+F2", CMD_BEST, Qt::CTRL | Qt::Key_F2},
          {"Fastest\tCtrl+F3", CMD_FASTEST, Qt::CTRL | Qt::Key_F3},
          {nullptr, kSeparator, kNone},
          {"Sound\tF10", CMD_SOUND, QKeyCombination(Qt::Key_F10)}}},
        {"&Disk",
         {{"Insert in drive &A...\tF5", CMD_INSERT_A, QKeyCombination(Qt::Key_F5)},
          {"&Eject from drive A", CMD_EJECT_A, kNone},
          {nullptr, kSeparator, kNone},
          {"Insert in drive &B...\tF6", CMD_INSERT_B, QKeyCombination(Qt::Key_F6)},
          {"&Eject from drive B", CMD_EJECT_B, kNone},
          {nullptr, kSeparator, kNone},
          {"&Swap drives\tF7", CMD_SWAP_DRIVES, QKeyCombination(Qt::Key_F7)}}},
        {"&Help", {{"&About\tF1", CMD_ABOUT, QKeyCombination(Qt::Key_F1)}}},
    };
    return menus;
}

// Commands whose items carry a check or radio mark, and the radio groups.
const std::vector<std::vector<int>> kRadioGroups = {
    {CMD_MODEL_464, CMD_MODEL_464_FDI, CMD_MODEL_664, CMD_MODEL_6128},
    {CMD_CRTC_1, CMD_CRTC_0},
    {CMD_BEST, CMD_FASTEST},
    {CMD_ZOOM_1, CMD_ZOOM_1 + 1, CMD_ZOOM_1 + 2, CMD_ZOOM_1 + 3}};
const int kChecks[] = {CMD_PAUSE, CMD_ACTUAL_SPEED, CMD_SOUND};

}  // namespace

MainWindow::MainWindow(uint32_t zoom) : screen_(new ScreenWidget(zoom)) {
    setWindowTitle(SHELL_TITLE);
    setCentralWidget(screen_);
    BuildMenus();
    TapeMenu_Install(this);
    move(0, 0);
    screen_->setFocus();
    filesFolder_ = QDir::cleanPath(QDir::currentPath() + QStringLiteral("/../Files"));
}

void MainWindow::BuildMenus() {
    for (const Popup& popup : Menus()) {
        QMenu* menu = menuBar()->addMenu(QString::fromUtf8(popup.title));
        // Keys typed after a menu closes go to the CPC again, not to the menu bar.
        connect(menu, &QMenu::aboutToHide, this, [this] { FocusScreenLater(false); });
        for (const MenuItem& item : popup.items) {
            if (item.command == kSeparator) {
                menu->addSeparator();
                continue;
            }
            QAction* action = menu->addAction(QString::fromUtf8(item.text));
            if (item.accelerator != kNone) action->setShortcut(QKeySequence(item.accelerator));
            int command = item.command;
            connect(action, &QAction::triggered, this, [this, command] { Command(command); });
            actions_[command] = action;
        }
        if (std::string(popup.title) == "&Disk") new DiskMenu(menu, this);
    }
    actions_[CMD_SAVE_SCREEN]->setEnabled(false);
    for (const auto& group : kRadioGroups) {
        auto* actionGroup = new QActionGroup(this);
        for (int command : group) {
            actions_[command]->setCheckable(true);
            actionGroup->addAction(actions_[command]);
        }
    }
    for (int command : kChecks) actions_[command]->setCheckable(true);
}

// Qt marks a triggered item itself; setting the marks from the settings also takes back
// the mark of a cancelled change.
void MainWindow::Win32_UpdateMenu() {
    ShellMenuMarks marks = Shell_MenuMarks();
    if (marks.model != 0) actions_[marks.model]->setChecked(true);
    actions_[marks.crtc]->setChecked(true);
    actions_[marks.speedMode]->setChecked(true);
    actions_[CMD_ACTUAL_SPEED]->setChecked(marks.actualSpeed);
    actions_[CMD_PAUSE]->setChecked(marks.paused);
    actions_[CMD_SOUND]->setChecked(marks.sound);
    auto zoom = actions_.find(CMD_ZOOM_1 + static_cast<int>(g_Shell.zoom) - 1);
    if (zoom != actions_.end()) zoom->second->setChecked(true);
}

void MainWindow::FocusScreenLater(bool activate) {
    QTimer::singleShot(0, this, [this, activate] {
        if (QApplication::activePopupWidget() || QApplication::activeModalWidget()) return;
        // Without a window manager nothing gives the window the keyboard back when a
        // dialog closes.
        if (activate) activateWindow();
        screen_->setFocus();
    });
}

void MainWindow::SetZoom(uint32_t zoom) {
    if (zoom < 1 || zoom > SHELL_MAX_ZOOM) return;
    g_Shell.zoom = zoom;
    screen_->SetZoom(zoom);
    Shell_WriteSetting("Zoom", zoom);
}

void MainWindow::Command(int command) {
    switch (command) {
        case CMD_ABOUT: About(); break;
        case CMD_INSERT_A: Win32_InsertDiskDialog(0); break;
        case CMD_INSERT_B: Win32_InsertDiskDialog(1); break;
        case CMD_LOAD_SNAPSHOT: SnapshotDialog(true); break;
        case CMD_SAVE_SNAPSHOT: SnapshotDialog(false); break;
        case CMD_EXIT: close(); break;
        case CMD_EJECT_A:
        case CMD_EJECT_B:
            if (DiskMenu::MayTakeOut(this, command == CMD_EJECT_A ? 0 : 1)) Shell_Command(command);
            break;
        default:
            if (command >= CMD_ZOOM_1 && command < CMD_ZOOM_1 + SHELL_MAX_ZOOM)
                SetZoom(static_cast<uint32_t>(command - CMD_ZOOM_1 + 1));
            else
                Shell_Command(command);
            break;
    }
    Win32_UpdateMenu();
    FocusScreenLater(true);
}

void MainWindow::Win32_InsertDiskDialog(int drive) {
    QString title = QStringLiteral("Load Disk Image for drive [%1]").arg(QChar('A' + drive));
    // The folder of the disk in that drive, else the disk folder of the run directory.
    QString folder = QDir(filesFolder_).exists() ? filesFolder_ : QDir::currentPath();
    std::string loaded = PAL_GetDrivePath(drive);
    if (!loaded.empty()) folder = QFileInfo(QFile::decodeName(loaded.c_str())).absolutePath();
    QFileDialog dialog(this, title, folder, QStringLiteral("CPC Disk Image (*.dsk)"));
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setWindowModality(Qt::WindowModal);  // the monitor window stays usable
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return;
    QString name = dialog.selectedFiles().first();
    if (!DiskMenu::MayTakeOut(this, drive)) return;
    // The current directory follows the dialog to the chosen file's folder.
    QDir::setCurrent(QFileInfo(name).absolutePath());
    QByteArray path = QFile::encodeName(name);
    if (!PAL_LoadDisk(path.constData(), drive)) {
        QMessageBox box(QMessageBox::Warning, SHELL_CAPTION,
                        QString::fromStdString(PAL_GetDiskLoadError(drive)), QMessageBox::Ok, this);
        box.setWindowModality(Qt::WindowModal);
        box.exec();
    } else {
        Open_NoteRecent(QFileInfo(name).absoluteFilePath());
    }
    screen_->update();
}

void MainWindow::SnapshotDialog(bool load) {
    const QString filter = QStringLiteral("CPC Snapshot (*.sna)");
    QString name = load ? QFileDialog::getOpenFileName(this, QStringLiteral("Load snapshot"),
                                                       QDir::currentPath(), filter, nullptr,
                                                       QFileDialog::DontUseNativeDialog)
                        : QFileDialog::getSaveFileName(this, QStringLiteral("Save snapshot"),
                                                       QDir::currentPath(), filter, nullptr,
                                                       QFileDialog::DontUseNativeDialog);
    if (name.isEmpty()) return;
    if (!load && QFileInfo(name).suffix().isEmpty()) name += QStringLiteral(".sna");
    QByteArray path = QFile::encodeName(name);
    std::string error =
        load ? Shell_LoadSnapshot(path.constData()) : Shell_SaveSnapshot(path.constData());
    if (!error.empty())
        QMessageBox::warning(this, SHELL_CAPTION, QString::fromLocal8Bit(error.c_str()));
    screen_->update();
}

void MainWindow::About() {
    QDialog dialog(this);
    dialog.setWindowTitle(QStringLiteral("About"));
    dialog.setWindowModality(Qt::WindowModal);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(new QLabel(QString::fromLatin1(kVersionTemplate)
                                     .arg(QStringLiteral(BRALLIVANE_FILE_VERSION))
                                     .arg(QStringLiteral(" (DEBUG)"))));
    if (uint16_t port = g_RemoteLink.port.load(std::memory_order_relaxed))
        layout->addWidget(
            new QLabel(QStringLiteral("GDB remote debugger: 127.0.0.1 port %1%2")
                           .arg(port)
                           .arg(Rsp_Attached() ? QStringLiteral(", attached") : QString())));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok);
    connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    layout->addWidget(buttons);
    dialog.exec();
}

void MainWindow::PostMessage(void* window, uint32_t message) {
    QCoreApplication::postEvent(static_cast<QObject*>(window),
                                new QEvent(static_cast<QEvent::Type>(message)));
}

void MainWindow::customEvent(QEvent* event) {
    if (event->type() == static_cast<QEvent::Type>(EMUL_MSG_ENDED)) close();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!DiskMenu::MayTakeOut(this, 0) || !DiskMenu::MayTakeOut(this, 1)) return event->ignore();
    event->accept();
    QApplication::quit();
}
