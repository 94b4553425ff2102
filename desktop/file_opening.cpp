// Opening files by type, starting their programs, drops on the screen and recent disks.
#include "desktop/file_opening.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QTimer>
#include <atomic>
#include <string>
#include <vector>

#include "common/disk/fdc.h"
#include "common/host_services.h"
#include "common/machine/emulation.h"
#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "desktop/shell.h"
#include "platform/amsdos_catalog.h"
#include "platform/ini_profile.h"
#include "platform/screen_text.h"
#include "platform/settings_path.h"
#include "platform/tape_files.h"

namespace {

constexpr int kRecentCount = 8;
constexpr uint32_t kLookMicroseconds = 100000;
constexpr uint32_t kWaitMicroseconds = 20000000;  // a booting 6128 needs about 3 s
constexpr int kTypingTickMilliseconds = 20;

void (*g_run)() = nullptr;

// Starting a program is typing on the CPC's keyboard: each step waits for a text on the
// screen (and a moment more), then types its keys.
struct TypingStep {
    const char* waitFor;
    uint32_t thenWaitMicroseconds;
    std::string keys;
};
void TypeWhenShown(std::vector<TypingStep> steps);

// One kind of file: what opens it (into a drive, where it goes into one), and what starts
// it once opened (null: nothing can).
struct FileKind {
    const char* extension;
    bool (*open)(const std::string& path, int drive, std::string& error);
    void (*start)(int drive);
};

bool OpenDisk(const std::string& path, int drive, std::string& error) {
    if (PAL_LoadDisk(path.c_str(), drive)) return true;
    error = PAL_GetDiskLoadError(drive);
    return false;
}

void StartDisk(int drive) {
    const FDC_Disk* disk = FDC_HostDisk(drive);
    std::vector<AmsdosFile> files;
    if (drive != 0 || !disk || !PAL_ReadAmsdosCatalog(*disk, files)) return;
    std::string path = PAL_GetDrivePath(drive);
    std::string command = PAL_ChooseAutorunCommand(files, path.substr(path.rfind('/') + 1));
    TypeWhenShown({{"Ready", 0, command + "\n"}});
}

bool OpenTape(const std::string& path, int, std::string& error) {
    error = PAL_InsertTapeFile(path.c_str());
    return error.empty();
}

// As the runner's --autorun starts a tape: the firmware empties the key buffer once it
// has asked for PLAY, so the key waits a little.
void StartTape(int) {
    bool disk = (g_Shell.control.Type & CPC_TYPE_DISK) != 0;
    TypeWhenShown({{"Ready", 0, disk ? "|TAPE\nRUN\"\n" : "RUN\"\n"}, {"Press PLAY", 300000, " "}});
}

bool OpenSnapshot(const std::string& path, int, std::string& error) {
    error = Shell_LoadSnapshot(path.c_str());
    return error.empty();
}

void Run(int) {
    if (g_run) g_run();
}

// The first entry also takes files of any other name.
const FileKind kFileKinds[] = {
    {"dsk", OpenDisk, StartDisk}, {"sna", OpenSnapshot, Run},   {"cdt", OpenTape, StartTape},
    {"tzx", OpenTape, StartTape}, {"csw", OpenTape, StartTape},
};

const FileKind& KindOf(const QString& path) {
    QString extension = QFileInfo(path).suffix().toLower();
    for (const FileKind& kind : kFileKinds)
        if (extension == QLatin1String(kind.extension)) return kind;
    return kFileKinds[0];
}

// The emulation thread watches the screen for the step's text; then the user-interface
// thread (the key queue's only writer) types its keys one at a time and arms the next step.
std::atomic<bool> g_watching{false};
std::atomic<bool> g_restartWatch{false};     // the emulation thread starts counting afresh
std::atomic<const char*> g_watchedText{""};  // set while not watching
std::atomic<uint32_t> g_watchedDelay{0};
uint32_t g_waited = 0;  // emulation thread
uint32_t g_sinceLook = 0;
uint32_t g_sinceShown = 0;
bool g_shown = false;
std::vector<TypingStep> g_steps;  // user-interface thread
size_t g_step = 0;
size_t g_typed = 0;

void Watch() {
    if (g_step >= g_steps.size()) return;
    g_watchedText = g_steps[g_step].waitFor;
    g_watchedDelay = g_steps[g_step].thenWaitMicroseconds;
    g_typed = 0;
    g_restartWatch.store(true, std::memory_order_release);
    g_watching.store(true, std::memory_order_release);
}

void TypeStep() {
    static QTimer* timer = nullptr;
    if (!timer) {
        timer = new QTimer(qApp);
        timer->setInterval(kTypingTickMilliseconds);
        QObject::connect(timer, &QTimer::timeout, [] {
            if (!PSG_KeyQueueEmpty()) return;
            if (g_step >= g_steps.size() || g_typed >= g_steps[g_step].keys.size()) {
                timer->stop();
                ++g_step;
                Watch();
                return;
            }
            uint8_t c = static_cast<uint8_t>(g_steps[g_step].keys[g_typed++]);
            PSG_CharEvent(c, 1);
            PSG_CharEvent(c, 0);
        });
    }
    timer->start();
}

uint32_t WatchScreen(uint32_t microseconds) {
    if (!g_watching.load(std::memory_order_acquire)) return 0;
    if (g_restartWatch.exchange(false, std::memory_order_acq_rel)) {
        g_waited = 0;
        g_sinceLook = kLookMicroseconds;
        g_shown = false;
    }
    g_waited += microseconds;
    g_sinceLook += microseconds;
    if (g_shown) g_sinceShown += microseconds;
    if (!g_shown && g_sinceLook >= kLookMicroseconds) {
        g_sinceLook = 0;
        ScreenView view;
        g_shown = PAL_CurrentScreen(view) &&
                  PAL_ScreenShows(PAL_ReadScreenText(view), g_watchedText.load());
        g_sinceShown = 0;
    }
    if (g_shown && g_sinceShown >= g_watchedDelay.load()) {
        g_watching.store(false, std::memory_order_release);
        QMetaObject::invokeMethod(qApp, TypeStep, Qt::QueuedConnection);
    } else if (g_waited >= kWaitMicroseconds) {
        g_watching.store(false, std::memory_order_release);
    }
    return 0;
}

void TypeWhenShown(std::vector<TypingStep> steps) {
    g_watching.store(false, std::memory_order_release);
    Emul_SetSliceHook(WatchScreen);
    g_steps = std::move(steps);
    g_step = 0;
    Watch();
    if (g_run) g_run();
}

QStringList RecentDisks() {
    std::string settings = PAL_GetSettingsPath();
    QStringList disks;
    for (int i = 1; i <= kRecentCount; ++i) {
        std::string key = "Recent" + std::to_string(i);
        std::string path =
            PAL_GetProfileString(PAL_SETTINGS_SECTION, key.c_str(), "", settings.c_str());
        if (!path.empty()) disks << QString::fromStdString(path);
    }
    return disks;
}

// The hint over the half of the screen a drop would go to.
class DropTarget : public QObject {
   public:
    explicit DropTarget(QWidget* screen)
        : QObject(screen), screen_(screen), hint_(new QLabel(screen)) {
        hint_->setAlignment(Qt::AlignCenter);
        hint_->setStyleSheet(
            QStringLiteral("background: rgba(255, 255, 255, 96); color: black; font-size: 24px; "
                           "border: 3px dashed black;"));
        hint_->setAttribute(Qt::WA_TransparentForMouseEvents);  // the drop stays the screen's
        hint_->hide();
        screen->setAcceptDrops(true);
        screen->installEventFilter(this);
    }

   protected:
    bool eventFilter(QObject*, QEvent* event) override {
        switch (event->type()) {
            case QEvent::DragEnter:
            case QEvent::DragMove: {
                auto* drag = static_cast<QDragMoveEvent*>(event);
                if (!drag->mimeData()->hasUrls()) return false;
                drag->acceptProposedAction();
                ShowHint(DriveAt(drag->position().y()));
                return true;
            }
            case QEvent::DragLeave: hint_->hide(); return true;
            case QEvent::Drop: {
                auto* drop = static_cast<QDropEvent*>(event);
                hint_->hide();
                QList<QUrl> urls = drop->mimeData()->urls();
                if (urls.isEmpty() || !urls.first().isLocalFile()) return false;
                drop->acceptProposedAction();
                int drive = DriveAt(drop->position().y());
                Open_File(screen_, urls.first().toLocalFile(), drive, drive == 0);
                return true;
            }
            default: return false;
        }
    }

   private:
    int DriveAt(double y) const { return y < screen_->height() / 2.0 ? 0 : 1; }
    void ShowHint(int drive) {
        int half = screen_->height() / 2;
        hint_->setGeometry(0, drive * half, screen_->width(), half);
        hint_->setText(drive == 0 ? QStringLiteral("Drive A: insert and run")
                                  : QStringLiteral("Drive B: insert"));
        hint_->show();
        hint_->raise();
    }

    QWidget* screen_;
    QLabel* hint_;
};

}  // namespace

void Open_SetRunRequest(void (*run)()) {
    g_run = run;
}

bool Open_File(QWidget* parent, const QString& path, int drive, bool start) {
    const FileKind& kind = KindOf(path);
    std::string error;
    QByteArray name = QFile::encodeName(QFileInfo(path).absoluteFilePath());
    if (!kind.open(name.constData(), drive, error)) {
        QMessageBox box(QMessageBox::Warning, SHELL_CAPTION, QString::fromLocal8Bit(error.c_str()),
                        QMessageBox::Ok, parent);
        box.setWindowModality(Qt::WindowModal);  // the monitor window stays usable
        box.exec();
        return false;
    }
    if (kind.open == OpenDisk) Open_NoteRecent(QString::fromLocal8Bit(name));
    if (start && kind.start) kind.start(drive);
    if (parent) parent->update();
    return true;
}

void Open_NoteRecent(const QString& path) {
    QStringList disks = RecentDisks();
    disks.removeAll(path);
    disks.prepend(path);
    std::string settings = PAL_GetSettingsPath();
    if (settings.empty()) return;
    // The list never shrinks, so no key needs emptying.
    for (int i = 0; i < kRecentCount && i < disks.size(); ++i) {
        std::string key = "Recent" + std::to_string(i + 1);
        std::string value = disks[i].toStdString();
        PAL_WriteProfileString(PAL_SETTINGS_SECTION, key.c_str(), value.c_str(), settings.c_str());
    }
}

void Open_Install(QMainWindow* window, QWidget* screen) {
    new DropTarget(screen);
    for (QAction* action : window->menuBar()->actions()) {
        QMenu* disk = action->menu();
        if (!disk || action->text() != QLatin1String("&Disk")) continue;
        disk->addSeparator();
        QMenu* recent = disk->addMenu(QStringLiteral("&Recent disks"));
        QObject::connect(recent, &QMenu::aboutToShow, recent, [recent, screen] {
            recent->clear();
            for (const QString& path : RecentDisks()) {
                QAction* item = recent->addAction(QFileInfo(path).fileName());
                item->setToolTip(path);
                QObject::connect(item, &QAction::triggered, screen,
                                 [screen, path] { Open_File(screen, path, 0, false); });
            }
            if (recent->isEmpty()) recent->addAction(QStringLiteral("(none)"))->setEnabled(false);
        });
    }
}
