#pragma once
// The Disk menu's items for writable disks: write protection of each drive, saving a disk
// under another name, new blank disks; and the message, once, when a disk's file cannot
// be written.
#include <QObject>

class QAction;
class QMenu;
class QWidget;

class DiskMenu : public QObject {
    Q_OBJECT
   public:
    // Adds its items to menu; messages and dialogs open over window.
    DiskMenu(QMenu* menu, QWidget* window);
    // Check marks from the drive slots.
    void Update();
    // Before a disk leaves its drive: true unless it holds changes its file could not take
    // and the user keeps it.
    static bool MayTakeOut(QWidget* window, int drive);

   private:
    void SaveAs(int drive);
    void NewBlankDisk(int drive);
    void TellSaveFailures();

    QWidget* window_;
    QAction* protect_[2];
};
