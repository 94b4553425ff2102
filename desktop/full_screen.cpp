// The full-screen switch and the scaling setting.
#include "desktop/full_screen.h"

#include <QAction>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <string>

#include "desktop/screen_widget.h"
#include "desktop/shell.h"
#include "platform/ini_profile.h"
#include "platform/settings_path.h"

namespace {
bool ReadFlag(const char* key, bool defaultValue) {
    std::string path = PAL_GetSettingsPath();
    std::string value =
        PAL_GetProfileString(PAL_SETTINGS_SECTION, key, defaultValue ? "1" : "0", path.c_str());
    return value != "0";
}

// The geometry is also set by hand, for X sessions without a window manager to do it.
void Show(QMainWindow* window, ScreenWidget* screen, bool full) {
    static QRect normal;
    window->menuBar()->setVisible(!full);
    screen->SetStatusVisible(!full);
    if (full) {
        normal = window->geometry();
        window->showFullScreen();
        window->setGeometry(window->screen()->geometry());
    } else {
        window->showNormal();
        if (normal.isValid()) window->setGeometry(normal);
    }
}
}  // namespace

void FullScreen_Install(QMainWindow* window, ScreenWidget* screen) {
    screen->SetSmoothScaling(ReadFlag("Smooth", true));
    auto* action = new QAction(QStringLiteral("&Full screen\tF12"), window);
    action->setCheckable(true);
    action->setShortcut(QKeySequence(Qt::Key_F12));
    window->addAction(action);  // the shortcut works while the menu bar is hidden
    for (QAction* item : window->menuBar()->actions()) {
        if (item->menu() && item->text() == QLatin1String("&System")) {
            item->menu()->addSeparator();
            item->menu()->addAction(action);
        }
    }
    QObject::connect(action, &QAction::toggled, window, [window, screen](bool full) {
        Show(window, screen, full);
        Shell_WriteSetting("FullScreen", full ? 1 : 0);
    });
    if (ReadFlag("FullScreen", false)) action->setChecked(true);
}
