// The snapshot header's fields: the processor, the Gate Array, the ROM and RAM
// configuration, the CRTC's registers and counters, the PPI, the PSG's registers and the
// interrupt state. Applying them is all a snapshot of another program gives; ours adds
// the machine state chunk on top.
#include <cstring>

#include "common/machine/machine.h"
#include "common/machine/snapshot.h"
#include "common/machine/snapshot_internal.h"
#include "common/sound/psg.h"
#include "common/video/crtc_fast.h"
#include "common/video/crtc_precise.h"
#include "common/z80/z80.h"

namespace {

// Offsets of the header's fields.
constexpr size_t kVersion = 0x10;
constexpr size_t kF = 0x11;  // then A, C, B, E, D, L, H
constexpr size_t kR = 0x19, kI = 0x1A, kIff1 = 0x1B, kIff2 = 0x1C;
constexpr size_t kIX = 0x1D, kIY = 0x1F, kSP = 0x21, kPC = 0x23, kIM = 0x25;
constexpr size_t kAlternateF = 0x26;  // then A', C', B', E', D', L', H'
constexpr size_t kGaPen = 0x2E, kGaInks = 0x2F, kGaConfig = 0x40, kRamConfig = 0x41;
constexpr size_t kCrtcSelected = 0x42, kCrtcRegisters = 0x43, kUpperRom = 0x55;
constexpr size_t kPpiA = 0x56, kPpiB = 0x57, kPpiC = 0x58, kPpiControl = 0x59;
constexpr size_t kPsgSelected = 0x5A, kPsgRegisters = 0x5B, kDumpSize = 0x6B;
constexpr size_t kMachineType = 0x6D;
constexpr size_t kFdcMotor = 0x9C, kFdcTracks = 0x9D, kCrtcType = 0xA4;
constexpr size_t kCrtcHcc = 0xA9, kCrtcVcc = 0xAB, kCrtcRa = 0xAC, kCrtcAdjust = 0xAD;
constexpr size_t kCrtcHsync = 0xAE, kCrtcVsync = 0xAF, kCrtcFlags = 0xB0;
constexpr size_t kGaVsyncDelay = 0xB2, kGaLineCounter = 0xB3, kInterruptRequest = 0xB4;

constexpr uint8_t kGaFunctionConfig = 0x80;
constexpr uint8_t kGaFunctionRam = 0xC0;
constexpr uint8_t kLowerRomOff = 0x04, kUpperRomOff = 0x08;
constexpr uint8_t kFlagVsync = 0x01, kFlagHsync = 0x02, kFlagAdjust = 0x80;
constexpr int kPsgSoundRegisters = 14;  // 14 and 15 are the I/O ports

void Put16(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}

uint16_t Get16(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] | at[1] << 8);
}

uint8_t MachineTypeOf(uint8_t type) {
    switch (type & CPC_TYPE_MODEL_MASK) {
        case 1: return 1;
        case 2: return 2;
        default: return 0;
    }
}

bool FastCrtc() {
    return (g_Machine.Type & CPC_TYPE_FAST_CRTC) != 0;
}

}  // namespace

uint8_t SNA_RamConfiguration() {
    const CPC_Machine& m = g_Machine;
    for (uint8_t config = 0; config < CPC_RAM_CONFIGURATION_COUNT; ++config) {
        bool same = true;
        for (int page = 0; page < 4; ++page) {
            uint8_t block = CPC_RAM_CONFIGURATIONS[config][page];
            same =
                same && m.writeMap[page] == (block < 4 ? m.baseRam[block] : m.extraRam[block - 4]);
        }
        if (same) return config;
    }
    return 0;
}

void SNA_FillHeader(Z80_State* z, uint8_t* h) {
    const CPC_Machine& m = g_Machine;
    std::memcpy(h, "MV - SNA", 8);
    h[kVersion] = 3;
    const Z80_Pair* main[] = {&z->AF, &z->BC, &z->DE, &z->HL};
    const Z80_Pair* alternate[] = {&z->AF_, &z->BC_, &z->DE_, &z->HL_};
    for (int i = 0; i < 4; ++i) {  // low byte first: F A, C B, E D, L H
        Put16(h + kF + 2 * i, main[i]->w);
        Put16(h + kAlternateF + 2 * i, alternate[i]->w);
    }
    h[kR] = z->R;
    h[kI] = z->I;
    h[kIff1] = z->IFF1 ? 1 : 0;
    h[kIff2] = z->IFF2 ? 1 : 0;
    Put16(h + kIX, z->IX.w);
    Put16(h + kIY, z->IY.w);
    Put16(h + kSP, z->SP);
    Put16(h + kPC, z->PC);
    h[kIM] = z->IM;

    h[kGaPen] = m.ga.selectedPen;
    std::memcpy(h + kGaInks, m.ga.penInks, sizeof m.ga.penInks);
    h[kGaConfig] = static_cast<uint8_t>(kGaFunctionConfig | (m.ga.screenMode & 3) |
                                        ((m.memSelect & CPC_ROMCFG_LOWER) ? 0 : kLowerRomOff) |
                                        ((m.memSelect & CPC_ROMCFG_UPPER) ? 0 : kUpperRomOff));
    h[kRamConfig] = static_cast<uint8_t>(kGaFunctionRam | SNA_RamConfiguration());
    h[kUpperRom] = static_cast<uint8_t>(m.memSelect & 0xFF);

    const CRTC_State& c = m.crtc;
    h[kCrtcSelected] = c.selectedRegister;
    std::memcpy(h + kCrtcRegisters, c.R, CRTC_REGISTER_COUNT);
    h[kPpiA] = m.ppi.portA;
    h[kPpiB] = m.ppi.portB;
    h[kPpiC] = m.ppi.portC;
    h[kPpiControl] = m.ppi.control;
    h[kPsgSelected] = m.psg.selectedRegister;
    std::memcpy(h + kPsgRegisters, m.psg.registers, sizeof m.psg.registers);
    Put16(h + kDumpSize, (m.Type & CPC_TYPE_EXTRA_RAM) ? 128 : 64);
    h[kMachineType] = MachineTypeOf(m.Type);

    h[kFdcMotor] = m.fdc.motor ? 1 : 0;
    for (int drive = 0; drive < FDC_DRIVE_COUNT; ++drive)
        h[kFdcTracks + drive] = m.fdc.drives[drive].currentTrack;
    h[kCrtcType] = m.crtcType.load(std::memory_order_relaxed);
    h[kCrtcHcc] = c.HCC;
    h[kCrtcVcc] = c.VCC;
    h[kCrtcRa] = c.RA;
    h[kCrtcAdjust] = c.verticalAdjustCounter;
    // The format counts the syncs' lines and characters up from their start.
    const uint8_t vsyncWidth = (m.crtcType.load(std::memory_order_relaxed) == 0 && (c.R[3] >> 4))
                                   ? static_cast<uint8_t>(c.R[3] >> 4)
                                   : 16;
    h[kCrtcHsync] = c.hsyncCountdown ? static_cast<uint8_t>((c.R[3] & 15) - c.hsyncCountdown) : 0;
    h[kCrtcVsync] = c.vsyncCountdown ? static_cast<uint8_t>(vsyncWidth - c.vsyncCountdown) : 0;
    h[kCrtcFlags] = static_cast<uint8_t>((c.vsyncCountdown ? kFlagVsync : 0) |
                                         (c.hsyncCountdown ? kFlagHsync : 0) |
                                         ((c.status & CRTC_STATUS_VADJUST) ? kFlagAdjust : 0));
    h[kGaVsyncDelay] = c.gaVsyncDelay;
    h[kGaLineCounter] = m.ga.intLineCounter;
    h[kInterruptRequest] = m.ga.intPending ? 1 : 0;
}

void SNA_ApplyHeader(Z80_State* z, const uint8_t* h) {
    CPC_Machine& m = g_Machine;
    Z80_Pair* main[] = {&z->AF, &z->BC, &z->DE, &z->HL};
    Z80_Pair* alternate[] = {&z->AF_, &z->BC_, &z->DE_, &z->HL_};
    for (int i = 0; i < 4; ++i) {
        main[i]->w = Get16(h + kF + 2 * i);
        alternate[i]->w = Get16(h + kAlternateF + 2 * i);
    }
    z->R = h[kR];
    z->I = h[kI];
    z->IFF1 = h[kIff1] & 1;
    z->IFF2 = h[kIff2] & 1;
    z->IX.w = Get16(h + kIX);
    z->IY.w = Get16(h + kIY);
    z->SP = Get16(h + kSP);
    z->PC = Get16(h + kPC);
    z->IM = h[kIM] <= 2 ? h[kIM] : 1;
    z->halted = 0;
    z->prefix = 0;

    m.ga.selectedPen = (h[kGaPen] & 0x10) ? 16 : (h[kGaPen] & 15);
    for (int pen = 0; pen < 17; ++pen) m.ga.penInks[pen] = h[kGaInks + pen] & 31;
    const uint8_t config = h[kGaConfig];
    m.ga.screenMode = config & 3;
    m.crtc.currentMode = config & 3;
    if (!CPC_SetRamConfig(h[kRamConfig] & 7)) CPC_SetRamConfig(0);
    CPC_SetRomConfig(static_cast<uint16_t>(((config & kLowerRomOff) ? 0 : CPC_ROMCFG_LOWER) |
                                           ((config & kUpperRomOff) ? 0 : CPC_ROMCFG_UPPER) |
                                           h[kUpperRom]));

    CRTC_State& c = m.crtc;
    for (int reg = 0; reg < CRTC_REGISTER_COUNT; ++reg)
        c.R[reg] = static_cast<uint8_t>(h[kCrtcRegisters + reg] & CRTC_RegisterMask(reg));
    c.selectedRegister = h[kCrtcSelected] < CRTC_REGISTER_COUNT ? h[kCrtcSelected] : 0;
    m.ppi.portA = h[kPpiA];
    m.ppi.portC = h[kPpiC];
    m.ppi.control = h[kPpiControl];

    PSG_State& psg = m.psg;
    for (int reg = 0; reg < 16; ++reg) {
        psg.registers[reg] = h[kPsgRegisters + reg];
        if (reg < kPsgSoundRegisters) PSG_out(static_cast<uint8_t>(reg), psg.registers[reg]);
    }
    psg.selectedRegister = h[kPsgSelected] & 15;
    m.fdc.motor = h[kFdcMotor] & 1;
    for (int drive = 0; drive < FDC_DRIVE_COUNT; ++drive)
        m.fdc.drives[drive].currentTrack = h[kFdcTracks + drive];

    if (h[kVersion] >= 3) {
        c.HCC = h[kCrtcHcc];
        c.VCC = h[kCrtcVcc] & 127;
        c.RA = h[kCrtcRa] & 31;
        c.verticalAdjustCounter = h[kCrtcAdjust];
        m.ga.intLineCounter = h[kGaLineCounter] < GA_INTERRUPT_LINES ? h[kGaLineCounter] : 0;
        m.ga.intPending = h[kInterruptRequest] & 1;
    }
    if (FastCrtc()) {
        CRTC_Update_fast(CRTC_UPDATE_ALL);
    } else {
        CRTC_Update_best(CRTC_UPDATE_ALL);
        c.lineStartMA = static_cast<uint16_t>(c.startAddress + c.VCC * c.R[1]);
        c.MA = static_cast<uint16_t>(c.lineStartMA + c.HCC);
        CRTC_ComputeAddress();
    }
}
