// The Tape menu. The deck belongs to the emulation thread: the menu posts requests and
// reads what the deck publishes.
#include "desktop/tape_menu.h"

#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>

#include "common/tape/tape.h"
#include "desktop/shell.h"
#include "platform/ini_profile.h"
#include "platform/settings_path.h"
#include "platform/tape_files.h"

namespace {

std::string Setting(const char* key) {
    std::string path = PAL_GetSettingsPath();
    return path.empty() ? std::string()
                        : PAL_GetProfileString(PAL_SETTINGS_SECTION, key, "", path.c_str());
}

void WriteSetting(const char* key, const std::string& value) {
    std::string path = PAL_GetSettingsPath();
    if (!path.empty())
        PAL_WriteProfileString(PAL_SETTINGS_SECTION, key, value.c_str(), path.c_str());
}

void Warn(QWidget* parent, const std::string& text) {
    QMessageBox::warning(parent, SHELL_CAPTION, QString::fromStdString(text));
}

// Inserts with PLAY down, so that the firmware's "Press PLAY" is all it takes.
bool Insert(QWidget* parent, const std::string& path) {
    std::string error = PAL_InsertTapeFile(path.c_str());
    if (!error.empty()) {
        Warn(parent, error);
        return false;
    }
    if (!PAL_TapeWarning().empty()) Warn(parent, PAL_TapeWarning());
    return true;
}

void InsertDialog(QWidget* parent) {
    QString name = QFileDialog::getOpenFileName(
        parent, QStringLiteral("Insert tape"), QDir::currentPath(),
        QStringLiteral("Tape images (*.cdt *.tzx *.csw *.CDT *.TZX *.CSW);;All files (*)"), nullptr,
        QFileDialog::DontUseNativeDialog);
    if (!name.isEmpty()) Insert(parent, QFile::encodeName(name).toStdString());
}

void RecordDialog(QWidget* parent) {
    if (g_TapePublished.recording.load()) {
        TAPE_Post(TAPE_RequestKind::StopRecording);
        return;
    }
    QString name = QFileDialog::getSaveFileName(
        parent, QStringLiteral("Record to tape"), QDir::currentPath(),
        QStringLiteral("CDT tape (*.cdt)"), nullptr, QFileDialog::DontUseNativeDialog);
    if (name.isEmpty()) return;
    if (!name.endsWith(QStringLiteral(".cdt"), Qt::CaseInsensitive)) name += QStringLiteral(".cdt");
    PAL_ArmTapeRecording(QFile::encodeName(name).constData());
}

void FillBlocks(QMenu* blocks) {
    blocks->clear();
    std::vector<std::string> names = PAL_TapeBlockNames();
    uint32_t current = g_TapePublished.block.load();
    for (size_t i = 0; i < names.size(); ++i) {
        QAction* item = blocks->addAction(
            QStringLiteral("%1  %2").arg(i + 1).arg(QString::fromStdString(names[i])));
        item->setCheckable(true);
        item->setChecked(i == current);
        QObject::connect(item, &QAction::triggered,
                         [i] { TAPE_Post(TAPE_RequestKind::SeekBlock, i); });
    }
    blocks->setEnabled(!names.empty());
}

}  // namespace

void TapeMenu_Install(QMainWindow* window) {
    QMenuBar* bar = window->menuBar();
    QList<QAction*> menus = bar->actions();
    QMenu* menu = new QMenu(QStringLiteral("&Tape"), window);
    bar->insertMenu(menus.isEmpty() ? nullptr : menus.back(), menu);  // before Help

    menu->addAction(QStringLiteral("&Insert tape..."), window, [window] { InsertDialog(window); });
    QAction* eject = menu->addAction(QStringLiteral("&Eject tape"), [] { PAL_EjectTape(); });
    menu->addSeparator();
    QAction* play = menu->addAction(QStringLiteral("&Play/Stop"), [] {
        TAPE_Post(g_TapePublished.playing.load() ? TAPE_RequestKind::Stop : TAPE_RequestKind::Play);
    });
    play->setCheckable(true);
    QAction* rewind = menu->addAction(QStringLiteral("Re&wind"),
                                      [] { TAPE_Post(TAPE_RequestKind::SeekBlock, 0); });
    QAction* record =
        menu->addAction(QStringLiteral("&Record..."), window, [window] { RecordDialog(window); });
    record->setCheckable(true);
    menu->addSeparator();
    QAction* fast = menu->addAction(QStringLiteral("&Fast loading"), [](bool on) {
        g_TapePublished.fastLoading.store(on ? 1 : 0);
        WriteSetting("FastTape", on ? "1" : "0");
    });
    fast->setCheckable(true);
    QMenu* blocks = menu->addMenu(QStringLiteral("&Blocks"));
    QObject::connect(menu, &QMenu::aboutToShow, [=] {
        // A recording that could not be written is told once, the next time the menu opens.
        static std::string toldError;
        std::string error = PAL_TapeRecordingError();
        if (!error.empty() && error != toldError) Warn(window, error);
        toldError = error;
        bool inserted = !PAL_TapePath().empty();
        eject->setEnabled(inserted);
        play->setEnabled(inserted);
        play->setChecked(g_TapePublished.playing.load() != 0);
        rewind->setEnabled(inserted);
        record->setChecked(g_TapePublished.recording.load() != 0);
        fast->setChecked(g_TapePublished.fastLoading.load() != 0);
        FillBlocks(blocks);
    });

    g_TapePublished.fastLoading.store(Setting("FastTape") == "0" ? 0 : 1);
    std::string path = Setting("Tape");
    if (!path.empty() && Insert(window, path)) {
        size_t block = std::strtoul(Setting("TapeBlock").c_str(), nullptr, 10);
        if (block > 0) TAPE_Post(TAPE_RequestKind::SeekBlock, block);
    }
    // The position is kept as the block the tape stands in when the program ends.
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, [] {
        if (!PAL_TapePath().empty())
            WriteSetting("TapeBlock", std::to_string(g_TapePublished.block.load()));
        TAPE_Post(TAPE_RequestKind::StopRecording);
    });
}
