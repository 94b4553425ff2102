// The desktop program: the main window with the CPC screen, the monitor window, the
// emulation thread and audio output. It starts in the folder it is run from, reads
// ../ROM/ and keeps its settings in ../Brallivane.ini.
#include <SDL.h>
#include <xcb/xcb.h>

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QGuiApplication>
#include <QMessageBox>
#include <algorithm>
#include <memory>
#include <new>

#include "common/host_console.h"
#include "common/host_services.h"
#include "common/video/renderer.h"
#include "desktop/console_window.h"
#include "desktop/key_translation.h"
#include "desktop/main_window.h"
#include "desktop/screen_widget.h"
#include "desktop/shell.h"
#include "desktop/xkb_layout.h"
#include "platform/settings_path.h"

namespace {

MainWindow* g_window = nullptr;
std::atomic<ScreenWidget*> g_screen{nullptr};
constexpr const char* kRomHelp =
    "The ROM images go in the folder ROM beside the folder the program starts in "
    "(see README.md, section \"ROM images\").";

void OnFrame() {
    if (ScreenWidget* screen = g_screen.load(std::memory_order_acquire)) screen->FrameReady();
}

bool ConfirmReset() {
    return QMessageBox::warning(g_window, SHELL_CAPTION, "This will reset the emulator.",
                                QMessageBox::Ok | QMessageBox::Cancel) == QMessageBox::Ok;
}

void ShowMessage(const char* text, const char* caption, ShellMessage kind) {
    QMessageBox box(kind == ShellMessage::Error ? QMessageBox::Critical : QMessageBox::Warning,
                    caption, text, QMessageBox::Ok, g_window);
    if (kind == ShellMessage::Error && *Shell_StartProblem())
        box.setInformativeText(QString::fromStdString(Shell_StartProblem()) + "\n\n" + kRomHelp);
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
    Shell_ReadSettings();

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
    g_Shell.ui = {ConfirmReset, ShowMessage, UpdateMenu, Repaint, Quit};
    window.Win32_UpdateMenu();
    window.show();
    window.raise();
    console.move(window.frameGeometry().right() + 1, 0);  // beside the main window
    QObject::connect(&console, &ConsoleWindow::closed, &window, &QWidget::close);

    PAL_SetConsole(console.Operations());
    g_screen.store(window.Screen(), std::memory_order_release);
    PAL_SetRepaintHandler(OnFrame);
    g_Shell.control.mainWindow = &window;
    g_Shell.control.postMessage = MainWindow::PostMessage;

    if (Win32_StartEmulation()) app.exec();
    Win32_StopEmulation();
    PAL_EjectAll();

    PAL_SetRepaintHandler(nullptr);
    g_screen.store(nullptr, std::memory_order_release);
    PAL_SetConsole(nullptr);
    PAL_SetFrameBuffer(nullptr);
    g_window = nullptr;
    Xkb_Unload();
    SDL_Quit();
    return 0;
}
