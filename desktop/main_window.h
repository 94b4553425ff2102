#pragma once
// The main window: the five menus with their accelerators and marks, the commands that
// open dialogs, and the close the emulation thread asks for when it ends on its own.
#include <QMainWindow>
#include <map>

#include "common/machine/emulation.h"

class QAction;
class ScreenWidget;

class MainWindow : public QMainWindow {
    Q_OBJECT
   public:
    explicit MainWindow(uint32_t zoom);
    ScreenWidget* Screen() const { return screen_; }
    // Check and radio marks from the current settings.
    void Win32_UpdateMenu();
    // Emulation thread: posts EMUL_MSG_ENDED to the window.
    static void PostMessage(void* window, uint32_t message);

   protected:
    void customEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

   private:
    void BuildMenus();
    // After a menu or a command (and its dialogs): keys go to the CPC again once no popup
    // or dialog is open; activate also gives the window the keyboard.
    void FocusScreenLater(bool activate);
    void SetZoom(uint32_t zoom);
    void Command(int command);
    void Win32_InsertDiskDialog(int drive);
    void SnapshotDialog(bool load);
    void About();

    ScreenWidget* screen_;
    std::map<int, QAction*> actions_;
    QString filesFolder_;  // ../Files/ from the folder the program started in
};
