// The desktop program: the main window with the CPC screen, the monitor window, the
// emulation thread and audio output. In a run folder it reads ../ROM/ and keeps its
// settings in ../Brallivane.ini; elsewhere it uses the user's XDG folders. A file named on
// the command line is opened and started once the machine runs.
#include <SDL.h>
#include <xcb/xcb.h>

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QGuiApplication>
#include <QMessageBox>
#include <QScreen>
#include <algorithm>
#include <memory>
#include <new>

#include "common/host_console.h"
#include "common/host_services.h"
#include "common/sound/psg.h"
#include "common/video/renderer.h"
#include "desktop/console_window.h"
#include "desktop/file_opening.h"
#include "desktop/full_screen.h"
#include "desktop/gamepad.h"
#include "desktop/key_backlog.h"
#include "desktop/key_translation.h"
#include "desktop/main_window.h"
#include "desktop/screen_widget.h"
#include "desktop/shell.h"
#include "desktop/window_placement.h"
#include "desktop/xkb_layout.h"
#include "platform/drive_slots.h"
#include "platform/remote_server.h"
#include "platform/settings_path.h"
#include "platform/xdg_folders.h"

namespace {

MainWindow* g_window = nullptr;
std::atomic<ScreenWidget*> g_screen{nullptr};
QString g_romHelp;

void OnFrame() {
    if (ScreenWidget* screen = g_screen.load(std::memory_order_acquire)) screen->FrameReady();
}

// Boxes are modal to the main window only: the monitor window takes its keys meanwhile.
bool ConfirmReset() {
    QMessageBox box(QMessageBox::Warning, SHELL_CAPTION, "This will reset the emulator.",
                    QMessageBox::Ok | QMessageBox::Cancel, g_window);
    box.setWindowModality(Qt::WindowModal);
    return box.exec() == QMessageBox::Ok;
}

void ShowMessage(const char* text, const char* caption, ShellMessage kind) {
    QMessageBox box(kind == ShellMessage::Error ? QMessageBox::Critical : QMessageBox::Warning,
                    caption, text, QMessageBox::Ok, g_window);
    box.setWindowModality(Qt::WindowModal);
    if (kind == ShellMessage::Error) {
        // The thread that failed to start has posted its end; closing the window for it
        // would take this box away before the user has read it.
        if (g_window)
            QCoreApplication::removePostedEvents(g_window,
                                                 static_cast<QEvent::Type>(EMUL_MSG_ENDED));
        // Where the ROM images go, unless the settings name no model at all.
        QString help = Shell_MenuMarks().model != 0 ? QStringLiteral("\n\n") + g_romHelp : "";
        if (*Shell_StartProblem())
            box.setInformativeText(QString::fromStdString(Shell_StartProblem()) + help);
    }
    box.exec();
}

void UpdateMenu() {
    if (g_window) g_window->Win32_UpdateMenu();
}

void Repaint(bool full) {
    if (!g_window) return;
    if (full) PAL_RequestStatusRefresh();
    g_window->Screen()->update();
}

void Quit() {
    QCoreApplication::quit();
}

// A new keyboard or keymap on the X server (setxkbmap, a layout switch) is read again.
class KeymapWatch : public QAbstractNativeEventFilter {
   public:
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr*) override {
        if (type == "xcb_generic_event_t" && Xkb_IsKeymapChange(message)) Xkb_MarkStale();
        return false;
    }
};

// Beside the main window where the screen has room, else below, else over it.
void PlaceMonitor(const QWidget& window, QWidget& console) {
    QRect screen = window.screen()->availableGeometry();
    QRect main = window.frameGeometry();
    int x = 0, y = 0;
    Place_Monitor({screen.x(), screen.y(), screen.width(), screen.height()},
                  {main.x(), main.y(), main.width(), main.height()}, console.width(),
                  console.height(), &x, &y);
    console.move(x, y);
}

xcb_connection_t* X11Connection() {
    auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    app.setWindowIcon(QIcon(QStringLiteral(":/icons/brallivane.png")));
    PAL_InitVideoTables();
    PAL_InitSettingsPath();
    g_romHelp = QStringLiteral(
                    "The program looked for the ROM images in %1 "
                    "(see README.md, section \"ROM images\").")
                    .arg(QString::fromStdString(PAL_ChooseRomDirectory()));
    Shell_FixRomDirectory();
    Shell_ReadSettings();
    PSG_SetKeySender(KeyBacklog_Send);

    std::unique_ptr<uint8_t[]> frameBuffer(new (std::nothrow) uint8_t[PAL_FRAME_BUFFER_SIZE]);
    if (!frameBuffer) {
        QMessageBox::critical(nullptr, SHELL_TITLE, "Initialization failed");
        return 1;
    }
    std::fill_n(frameBuffer.get(), PAL_FRAME_BUFFER_SIZE, PAL_BLACK);
    PAL_SetFrameBuffer(frameBuffer.get());

    xcb_connection_t* connection = X11Connection();
    std::unique_ptr<KeymapWatch> keymapWatch;
    if (connection && Xkb_LoadFromServer(connection)) {
        keymapWatch = std::make_unique<KeymapWatch>();
        app.installNativeEventFilter(keymapWatch.get());
    } else {
        Xkb_LoadByName(nullptr, nullptr);  // no X server: the default layout
    }
    Key_SetLayoutLookup(Xkb_LayoutLookup);

    MainWindow window(g_Shell.zoom);
    ConsoleWindow console;
    g_window = &window;
    Open_Install(&window, window.Screen());
    Open_SetRunRequest(Shell_RunMachine);
    FullScreen_Install(&window, window.Screen());
    Gamepad_Start(&window);
    g_Shell.ui = {ConfirmReset, ShowMessage, UpdateMenu, Repaint, Quit};
    window.Win32_UpdateMenu();
    window.show();
    window.raise();
    PlaceMonitor(window, console);
    QObject::connect(&console, &ConsoleWindow::closed, &window, &QWidget::close);

    PAL_SetConsole(console.Operations());
    g_screen.store(window.Screen(), std::memory_order_release);
    PAL_SetRepaintHandler(OnFrame);
    g_Shell.control.mainWindow = &window;
    g_Shell.control.postMessage = MainWindow::PostMessage;
    g_Shell.monitorConsole = console.Grid();

    if (g_Shell.gdbPort != 0) {
        std::string error;
        if (PAL_StartRemoteServer(g_Shell.gdbPort, error) == 0)
            QMessageBox::warning(&window, SHELL_TITLE, QString::fromStdString("GdbPort: " + error));
    }
    PAL_StartDiskWriter();
    if (Win32_StartEmulation()) {
        QStringList arguments = QCoreApplication::arguments();
        if (arguments.size() > 1) Open_File(&window, arguments.at(1), 0, true);
        app.exec();
    }
    Win32_StopEmulation();
    PAL_StopRemoteServer();
    PAL_StopDiskWriter();
    PAL_EjectAll();  // writes changed disks back

    PAL_SetRepaintHandler(nullptr);
    g_screen.store(nullptr, std::memory_order_release);
    PAL_SetConsole(nullptr);
    PAL_SetFrameBuffer(nullptr);
    g_window = nullptr;
    g_Shell.monitorConsole = nullptr;
    PSG_SetKeySender(nullptr);
    Xkb_Unload();
    SDL_Quit();
    return g_Shell.startFailed ? 1 : 0;
}
