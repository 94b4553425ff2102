// Controller registers and phases: the main status register at &FB7E, the data register at
// &FB7F and the motor latch at &FA7E.
#include "common/disk/fdc.h"

#include "common/disk/fdc_internal.h"
#include "common/host_services.h"
#include "common/machine/machine.h"
#include "common/xtools/xtools.h"

namespace {
constexpr uint16_t kStatusPort = 0xFB7E;
constexpr uint16_t kDataPort = 0xFB7F;
constexpr uint8_t kMotorPortHigh = 0xFA;
constexpr uint8_t kDataPortHigh = 0xFB;
constexpr uint8_t kDataPortLow = 0x7F;
constexpr uint8_t kRequestMask = 0xC0;  // request for master and data direction

void AcceptCommandByte(uint8_t value) {
    FDC_State& fdc = g_Machine.fdc;
    if (fdc.byteCounter == 0) fdc.commandIndex = value & 0x1F;
    const FDC_Command& command = FDC_COMMANDS[fdc.commandIndex];
    fdc.command[fdc.byteCounter++] = value;
    if (fdc.byteCounter < command.commandBytes) return;
    // Between commands no transfer runs: the moment to take over inserted or ejected disks.
    FDC_AdoptDisks();
    if (command.handler)
        command.handler();
    else
        FDC_InvalidCmd();
}

uint8_t NextResultByte() {
    FDC_State& fdc = g_Machine.fdc;
    uint8_t value = fdc.result[fdc.byteCounter++];
    if (fdc.byteCounter >= FDC_COMMANDS[fdc.commandIndex].resultBytes) FDC_EnterCommandPhase();
    return value;
}
}  // namespace

void FDC_Init() {
    FDC_State& fdc = g_Machine.fdc;
    for (int d = 0; d < FDC_DRIVE_COUNT; ++d) {
        fdc.drives[d] = FDC_Drive{};
        fdc.drives[d].number = static_cast<uint8_t>(d);
    }
    FDC_Reset();
    FDC_AttachToSlots();
    PAL_LoadDrivesFromSettings();
}

void FDC_Reset() {
    FDC_State& fdc = g_Machine.fdc;
    fdc.motor = 0;
    fdc.byteCounter = 0;
    fdc.mainStatus = FDC_MSR_COMMAND;
    FDC_SetPhase(FDC_PHASE_COMMAND);
}

void FDC_SetPhase(uint8_t phase) {
    g_Machine.fdc.phase.store(phase, std::memory_order_release);
    PAL_DriveActivity(phase == FDC_PHASE_EXECUTION);
}

void FDC_EnterCommandPhase() {
    FDC_State& fdc = g_Machine.fdc;
    fdc.mainStatus = FDC_MSR_COMMAND;
    fdc.byteCounter = 0;
    FDC_SetPhase(FDC_PHASE_COMMAND);
}

void FDC_EnterResultPhase() {
    FDC_State& fdc = g_Machine.fdc;
    fdc.mainStatus = FDC_MSR_RESULT;
    fdc.byteCounter = 0;
    FDC_SetPhase(FDC_PHASE_RESULT);
}

uint8_t FDC_in(uint16_t port) {
    FDC_State& fdc = g_Machine.fdc;
    if (port == kStatusPort) return fdc.mainStatus;
    if (port != kDataPort) return 0;
    if ((fdc.mainStatus & kRequestMask) != kRequestMask) {
        XT_Trace("* FDC_in(): Invalid read 1");
        return 0;
    }
    switch (fdc.phase.load(std::memory_order_relaxed)) {
        case FDC_PHASE_EXECUTION: return FDC_ReadDataByte();
        case FDC_PHASE_RESULT: return NextResultByte();
        default: XT_Trace("* FDC_in(): Invalid read 2"); return 0;
    }
}

void FDC_out(uint16_t port, uint8_t value) {
    FDC_State& fdc = g_Machine.fdc;
    uint8_t high = static_cast<uint8_t>(port >> 8);
    if (high == kMotorPortHigh) {
        XT_Trace("FDC_out(): FDC Motor Control (%04hX): %02XH", port, value);
        fdc.motor = value;
        return;
    }
    if (high != kDataPortHigh || (port & 0xFF) != kDataPortLow) {
        XT_Trace("* FDC_out(): Incorrect address %04XH", port);
        return;
    }
    if ((fdc.mainStatus & kRequestMask) != FDC_MSR_COMMAND) {
        XT_Trace("* FDC_out(): Invalid write 1");
        return;
    }
    switch (fdc.phase.load(std::memory_order_relaxed)) {
        case FDC_PHASE_COMMAND: AcceptCommandByte(value); break;
        case FDC_PHASE_EXECUTION:
            if (fdc.commandIndex == FDC_FORMAT_TRACK)
                FDC_FormatByte(value);
            else if (fdc.commandIndex == FDC_WRITE_DATA ||
                     fdc.commandIndex == FDC_WRITE_DELETED_DATA)
                FDC_WriteDataByte(value);
            break;
        default: XT_Trace("* FDC_out(): Invalid write 2"); break;
    }
}

const FDC_Track* FDC_CurrentTrack(const FDC_Drive& drive) {
    const FDC_Disk* disk = drive.disk;
    if (!disk || !disk->tracks || drive.currentTrack >= disk->trackCount) return nullptr;
    return &disk->tracks[drive.currentTrack];
}
