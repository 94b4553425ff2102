// Disk menu items for writable disks, and the one message about a file that cannot be
// written.
#include "desktop/disk_menu.h"

#include <QAction>
#include <QFileDialog>
#include <QFileInfo>
#include <QInputDialog>
#include <QMenu>
#include <QMessageBox>
#include <QTimer>

#include "common/disk/fdc.h"
#include "common/host_services.h"
#include "desktop/shell.h"
#include "platform/drive_slots.h"

namespace {
constexpr int kPollMs = 500;
const QString kFilter = QStringLiteral("CPC Disk Image (*.dsk)");

QChar Letter(int drive) {
    return QChar('A' + drive);
}

// The folder of the disk in the drive, else the current folder.
QString StartFolder(int drive) {
    std::string path = PAL_GetDrivePath(drive);
    return path.empty() ? QStringLiteral(".") : QFileInfo(QString::fromStdString(path)).path();
}

QString WithDiskExtension(QString name) {
    return name.endsWith(QStringLiteral(".dsk"), Qt::CaseInsensitive)
               ? name
               : name + QStringLiteral(".dsk");
}
}  // namespace

DiskMenu::DiskMenu(QMenu* menu, QWidget* window) : QObject(window), window_(window) {
    menu->addSeparator();
    for (int drive = 0; drive < 2; ++drive) {
        protect_[drive] = menu->addAction(QStringLiteral("Write protect %1").arg(Letter(drive)));
        protect_[drive]->setCheckable(true);
        connect(protect_[drive], &QAction::toggled, this,
                [drive](bool on) { PAL_SetWriteProtect(drive, on, true); });
    }
    menu->addSeparator();
    for (int drive = 0; drive < 2; ++drive)
        connect(menu->addAction(QStringLiteral("Save disk %1 as...").arg(Letter(drive))),
                &QAction::triggered, this, [this, drive] { SaveAs(drive); });
    menu->addSeparator();
    for (int drive = 0; drive < 2; ++drive)
        connect(menu->addAction(QStringLiteral("New blank disk in drive %1...").arg(Letter(drive))),
                &QAction::triggered, this, [this, drive] { NewBlankDisk(drive); });
    connect(menu, &QMenu::aboutToShow, this, &DiskMenu::Update);
    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &DiskMenu::TellSaveFailures);
    timer->start(kPollMs);
    Update();
}

void DiskMenu::Update() {
    for (int drive = 0; drive < 2; ++drive) {
        QSignalBlocker quiet(protect_[drive]);
        protect_[drive]->setChecked(PAL_GetWriteProtect(drive));
    }
}

bool DiskMenu::MayTakeOut(QWidget* window, int drive) {
    PAL_FlushDisks(PAL_GetTickCount(), true);  // the latest changes too
    if (!PAL_DiskHasUnsavedChanges(drive)) return true;
    PAL_TakeDiskSaveError(drive);  // this question tells it
    QString question =
        QStringLiteral(
            "Drive %1 holds changes that could not be written to %2.\n\nTake the disk out and "
            "lose them? (\"Save disk %1 as...\" in the Disk menu keeps them.)")
            .arg(Letter(drive), QString::fromStdString(PAL_GetDrivePath(drive)));
    return QMessageBox::question(window, SHELL_CAPTION, question,
                                 QMessageBox::Yes | QMessageBox::No,
                                 QMessageBox::No) == QMessageBox::Yes;
}

void DiskMenu::SaveAs(int drive) {
    if (!FDC_HostDisk(drive)) {
        QMessageBox::information(window_, SHELL_CAPTION,
                                 QStringLiteral("Drive %1 is empty.").arg(Letter(drive)));
        return;
    }
    QString name = QFileDialog::getSaveFileName(
        window_, QStringLiteral("Save disk %1 as").arg(Letter(drive)), StartFolder(drive), kFilter,
        nullptr, QFileDialog::DontUseNativeDialog);
    if (name.isEmpty()) return;
    std::string error;
    QByteArray path = QFile::encodeName(WithDiskExtension(name));
    if (!PAL_SaveDiskAs(drive, path.constData(), error))
        QMessageBox::warning(window_, SHELL_CAPTION,
                             QStringLiteral("Cannot write %1: %2")
                                 .arg(QString::fromLocal8Bit(path), QString::fromStdString(error)));
}

void DiskMenu::NewBlankDisk(int drive) {
    if (!MayTakeOut(window_, drive)) return;
    QString name = QFileDialog::getSaveFileName(
        window_, QStringLiteral("New blank disk in drive %1").arg(Letter(drive)),
        StartFolder(drive), kFilter, nullptr, QFileDialog::DontUseNativeDialog);
    if (name.isEmpty()) return;
    const QStringList formats = {QStringLiteral("DATA (sectors C1-C9)"),
                                 QStringLiteral("SYSTEM (sectors 41-49)")};
    bool chosen = false;
    QString format = QInputDialog::getItem(window_, QStringLiteral("Format of the new disk"),
                                           QStringLiteral("Format:"), formats, 0, false, &chosen);
    if (!chosen) return;
    std::string error;
    QByteArray path = QFile::encodeName(WithDiskExtension(name));
    // The dialog has asked before replacing a file.
    FDC_BlankFormat blank = format == formats[0] ? FDC_BlankFormat::Data : FDC_BlankFormat::System;
    if (!PAL_CreateBlankDisk(path.constData(), blank, true, error)) {
        QMessageBox::warning(window_, SHELL_CAPTION,
                             QStringLiteral("Cannot write %1: %2")
                                 .arg(QString::fromLocal8Bit(path), QString::fromStdString(error)));
        return;
    }
    if (!PAL_LoadDisk(path.constData(), drive))
        QMessageBox::warning(window_, SHELL_CAPTION,
                             QString::fromStdString(PAL_GetDiskLoadError(drive)));
    window_->update();
}

void DiskMenu::TellSaveFailures() {
    for (int drive = 0; drive < 2; ++drive) {
        std::string failure = PAL_TakeDiskSaveError(drive);
        if (failure.empty()) continue;
        QMessageBox::warning(
            window_, SHELL_CAPTION,
            QString::fromStdString(failure) +
                QStringLiteral("\n\nThe changes stay in drive %1; \"Save disk %1 as...\" in the "
                               "Disk menu writes them to another file.")
                    .arg(Letter(drive)));
    }
}
