// The machine record: start-up, reset and release, and the memory map the processor
// reads and writes through. Reads go through the read map and writes through the write
// map, so a write to a page that shows ROM lands in the RAM underneath.
#include "common/machine/machine.h"

#include <cstdint>
#include <new>

#include "common/host_services.h"

CPC_Machine g_Machine;

const uint8_t CPC_RAM_CONFIGURATIONS[CPC_RAM_CONFIGURATION_COUNT][4] = {
    {0, 1, 2, 3}, {0, 1, 2, 7}, {4, 5, 6, 7}, {0, 3, 2, 7},
    {0, 4, 2, 3}, {0, 5, 2, 3}, {0, 6, 2, 3}, {0, 7, 2, 3},
};

namespace {
constexpr uint16_t kPageOffsetMask = 0x3FFF;
constexpr int kPageShift = 14;
constexpr uint16_t kResetRomConfig = CPC_ROMCFG_LOWER | CPC_ROMCFG_UPPER;  // upper ROM 0
constexpr uint8_t kResetPortB = 0x1E;  // manufacturer code 7, 50 Hz
constexpr int16_t kOffsetFastCrtc = -8;
constexpr int16_t kOffsetPreciseCrtc = -13;
constexpr uint8_t kReadBlockAbsent = 0xFF;  // what the monitor sees of a page with no image

// An unconnected ROM number reads as BASIC.
uint8_t InstalledUpperRom(uint8_t number) {
    return (number < CPC_UPPER_ROM_SLOTS && g_Machine.upperRoms[number]) ? number : 0;
}

uint8_t* RamBlock(uint8_t block) {
    return block < 4 ? g_Machine.baseRam[block] : g_Machine.extraRam[block - 4];
}

bool AllocateBlocks(uint8_t* (&blocks)[4]) {
    for (uint8_t*& block : blocks) {
        block = new (std::nothrow) uint8_t[CPC_PAGE_SIZE]();
        if (!block) return false;
    }
    return true;
}

void FreeBlocks(uint8_t* (&blocks)[4]) {
    for (uint8_t*& block : blocks) {
        delete[] block;
        block = nullptr;
    }
}

// Pages 0 and 3 of the read map from the stored ROM configuration.
void MapRomPages() {
    CPC_Machine& m = g_Machine;
    m.readMap[0] = (m.memSelect & CPC_ROMCFG_LOWER) ? m.lowerRom : m.writeMap[0];
    m.readMap[3] =
        (m.memSelect & CPC_ROMCFG_UPPER) ? m.upperRoms[m.memSelect & 0xFF] : m.writeMap[3];
}
}  // namespace

CPC_Machine* CPC_Init(uint8_t type, uint8_t crtcType) {
    // The record holds atomics, so it is cleared by building a fresh value in place.
    g_Machine.~CPC_Machine();
    new (&g_Machine) CPC_Machine();
    CPC_Machine& m = g_Machine;

    m.ReadMem = CPC_ReadMem;
    m.WriteMem = CPC_WriteMem;
    m.In = CPC_in;
    m.Out = CPC_out;
    m.Update = CPC_Update;
    m.IntAck = CPC_IntAck;
    m.Reset = CPC_Reset;
    m.RetI = CPC_RetI;
    m.MemAccess = CPC_MemAccess;

    m.Type = type;
    CRTC_Init(crtcType);
    PSG_Init();
    Emul_AdjustSpeed(32767);
    m.horizontalOffset.store((type & CPC_TYPE_FAST_CRTC) ? kOffsetFastCrtc : kOffsetPreciseCrtc);

    if (!AllocateBlocks(m.baseRam)) {
        CPC_Shutdown(&m);
        return nullptr;
    }
    for (int page = 0; page < 4; ++page) m.writeMap[page] = m.baseRam[page];
    if ((type & CPC_TYPE_EXTRA_RAM) && !AllocateBlocks(m.extraRam)) {
        CPC_Shutdown(&m);
        return nullptr;
    }
    if (!PAL_LoadRoms(type)) {
        CPC_Shutdown(&m);
        return nullptr;
    }
    FDC_Init();

    // Pages 0 and 3 are mapped by the first reset, before the first instruction.
    m.readMap[1] = m.baseRam[1];
    m.readMap[2] = m.baseRam[2];
    return &m;
}

void CPC_Shutdown(CPC_Machine* machine) {
    if (!machine) return;
    if (machine == &g_Machine) FDC_Shutdown();
    // The ROM images belong to the host layer, which loads them into the one machine.
    if (machine == &g_Machine) PAL_FreeRoms();
    FreeBlocks(machine->extraRam);
    FreeBlocks(machine->baseRam);
    for (int page = 0; page < 4; ++page) {
        machine->writeMap[page] = nullptr;
        machine->readMap[page] = nullptr;
    }
}

void CPC_Reset() {
    CPC_Machine& m = g_Machine;
    CPC_CatchUpVideo();  // what was drawn before the reset stays drawn
    m.crtcQuiet = 0;     // the reset moves the CRTC: the next tick works out its quiet time
    m.heldLimit = 0;
    CPC_SetRomConfig(kResetRomConfig);
    for (int page = 0; page < 4; ++page) m.writeMap[page] = m.baseRam[page];
    CPC_UpdateMemMap();

    m.ppi.portA = 0;
    m.ppi.portB = kResetPortB;
    m.ppi.control = 0;

    CRTC_ClearResetState(&m.crtc);
    if (m.crtcOps.reset) m.crtcOps.reset();

    m.ga.intLineCounter = 0;
    m.ga.intPending = 0;

    PSG_Reset();
    FDC_Reset();
}

uint8_t CPC_ReadMem(uint16_t address) {
    return g_Machine.readMap[address >> kPageShift][address & kPageOffsetMask];
}

void CPC_WriteMem(uint16_t address, uint8_t value) {
    uint8_t* page = g_Machine.writeMap[address >> kPageShift];
    if (page == g_Machine.crtc.ramBlock && (g_Machine.crtcPending || g_Machine.heldTime))
        CPC_CatchUpVideo();
    page[address & kPageOffsetMask] = value;
}

void CPC_SetRomConfig(uint16_t word) {
    uint8_t number = InstalledUpperRom(word & 0xFF);
    g_Machine.memSelect = static_cast<uint16_t>((word & 0xFF00) | number);
    MapRomPages();
}

void CPC_UpdateMemMap() {
    CPC_Machine& m = g_Machine;
    MapRomPages();
    m.readMap[1] = m.writeMap[1];
    m.readMap[2] = m.writeMap[2];
}

bool CPC_SetRamConfig(uint8_t configuration) {
    const uint8_t* blocks = CPC_RAM_CONFIGURATIONS[configuration & 7];
    uint8_t* pages[4];
    for (int page = 0; page < 4; ++page) {
        pages[page] = RamBlock(blocks[page]);
        if (!pages[page]) return false;
    }
    for (int page = 0; page < 4; ++page) g_Machine.writeMap[page] = pages[page];
    CPC_UpdateMemMap();
    return true;
}

void CPC_ReadBlock(uint16_t address, uint8_t* destination, uint16_t count, uint16_t romConfig) {
    if (!destination) return;
    const CPC_Machine& m = g_Machine;
    const uint8_t* pages[4] = {
        (romConfig & CPC_ROMCFG_LOWER) ? m.lowerRom : m.writeMap[0],
        m.writeMap[1],
        m.writeMap[2],
        (romConfig & CPC_ROMCFG_UPPER) ? m.upperRoms[InstalledUpperRom(romConfig & 0xFF)]
                                       : m.writeMap[3],
    };
    for (uint16_t i = 0; i < count; ++i) {
        uint16_t at = static_cast<uint16_t>(address + i);
        const uint8_t* page = pages[at >> kPageShift];
        destination[i] = page ? page[at & kPageOffsetMask] : kReadBlockAbsent;
    }
}

void CPC_MemAccess(uint8_t operation, void* request) {
    switch (operation) {
        case CPC_MEM_READ_BLOCK: {
            auto* block = static_cast<CPC_BlockRequest*>(request);
            if (block)
                CPC_ReadBlock(block->address, block->destination, block->count, block->romConfig);
            break;
        }
        case CPC_MEM_SET_ROM_CONFIG:
            // The request is the configuration word itself, not a pointer to it.
            CPC_SetRomConfig(static_cast<uint16_t>(reinterpret_cast<uintptr_t>(request)));
            break;
        case CPC_MEM_GET_ROM_CONFIG:
            if (request) *static_cast<uint16_t*>(request) = g_Machine.memSelect;
            break;
        default: break;
    }
}

// RETI means nothing to this machine: no daisy-chained peripherals listen for it.
void CPC_RetI() {}
