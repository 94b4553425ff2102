#pragma once
// The emulated machine record: the operations through which the processor, the run
// loop and the monitor reach the machine, the configuration byte, the memory map and
// the state of every support chip.
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "common/disk/fdc.h"
#include "common/sound/psg.h"
#include "common/video/crtc.h"

struct Z80_State;

// Configuration byte (Type).
constexpr uint8_t CPC_TYPE_MODEL_MASK = 0x07;    // 0 = 464, 1 = 664, 2 = 6128
constexpr uint8_t CPC_TYPE_THREAD_SOUND = 0x10;  // thread-driven sound engine
constexpr uint8_t CPC_TYPE_FAST_CRTC = 0x20;     // line-based CRTC variant
constexpr uint8_t CPC_TYPE_EXTRA_RAM = 0x40;     // second 64 KB, RAM banking works
constexpr uint8_t CPC_TYPE_DISK = 0x80;          // disk interface, AMSDOS in slot 7
constexpr uint8_t CPC_TYPE_SPEED_BITS = CPC_TYPE_THREAD_SOUND | CPC_TYPE_FAST_CRTC;

// The four models the host offers.
constexpr uint8_t CPC_MODEL_464 = 0x00;
constexpr uint8_t CPC_MODEL_464_FDI = 0x80;
constexpr uint8_t CPC_MODEL_664 = 0x81;
constexpr uint8_t CPC_MODEL_6128 = 0xC2;

// ROM configuration word (memSelect): low byte upper ROM number.
constexpr uint16_t CPC_ROMCFG_LOWER = 0x100;  // lower ROM paged in at 0x0000
constexpr uint16_t CPC_ROMCFG_UPPER = 0x200;  // upper ROM paged in at 0xC000

constexpr size_t CPC_PAGE_SIZE = 16384;
constexpr int CPC_UPPER_ROM_SLOTS = 8;

// CPC_MemAccess operation codes.
constexpr uint8_t CPC_MEM_READ_BLOCK = 0;
constexpr uint8_t CPC_MEM_SET_ROM_CONFIG = 1;
constexpr uint8_t CPC_MEM_GET_ROM_CONFIG = 2;

// Request of CPC_MemAccess operation 0.
struct CPC_BlockRequest {
    uint16_t address;
    uint8_t* destination;
    uint16_t count;
    uint16_t romConfig;
};

// The CRTC variant in use, installed by CRTC_Init.
struct CRTC_HandlerSet {
    void (*reset)();
    void (*out)(uint8_t index, uint8_t value);
    uint8_t (*in)(uint8_t index);
    void (*tick)(uint8_t microseconds);
};

// 8255 PPI.
struct PPI_State {
    uint8_t portA;    // last byte written, or the byte read from the PSG
    uint8_t portB;    // input port; bit 0 is VSYNC
    uint8_t portC;    // keyboard row, cassette bits, PSG bus function
    uint8_t control;  // stored only
};

// Gate Array.
struct GA_State {
    uint8_t penInks[17];     // inks of pens 0-15, index 16 the border
    uint8_t selectedPen;     // 0-15, or 16 for the border
    uint8_t screenMode;      // requested mode 0-3
    uint8_t intLineCounter;  // interrupt line counter
    uint8_t intPending;      // 1 while an interrupt waits for the processor
};

struct CPC_Machine {
    // The nine machine operations; the processor reaches the machine only through these.
    uint8_t (*ReadMem)(uint16_t address);
    void (*WriteMem)(uint16_t address, uint8_t value);
    uint8_t (*In)(uint16_t port);
    void (*Out)(uint16_t port, uint8_t value);
    void (*Update)(uint8_t microseconds);
    uint8_t (*IntAck)();
    void (*Reset)();
    void (*RetI)();
    void (*MemAccess)(uint8_t operation, void* request);

    uint8_t Type;
    uint16_t memSelect;

    uint8_t* lowerRom;
    uint8_t* upperRoms[CPC_UPPER_ROM_SLOTS];  // 0 BASIC, 1 credit ROM, 7 AMSDOS
    uint8_t* baseRam[4];                      // blocks 0-3
    uint8_t* writeMap[4];
    uint8_t* extraRam[4];  // blocks 4-7, with CPC_TYPE_EXTRA_RAM
    // What ReadMem returns, as four 16 KB pages: the processor reads through it directly,
    // so every machine keeps it current whenever its ReadMem would change.
    uint8_t* readMap[4];

    Z80_State* processor;  // set by Z80_Init; ports and chips set stop reasons through it

    PPI_State ppi;
    GA_State ga;

    std::atomic<uint8_t> crtcType;  // the host may change it while the machine runs
    CRTC_HandlerSet crtcOps;
    CRTC_State crtc;
    // While nothing the CRTC does could be seen by the processor (no new line, no HSYNC
    // end, no other RAM page) it may run behind: crtcPending microseconds not yet handed
    // to it, at most crtcQuiet. Ports, writes to the page it draws from and a reset catch
    // it up first, so nothing can tell.
    uint16_t crtcPending;
    uint16_t crtcQuiet;
    std::atomic<int16_t> horizontalOffset;  // in characters; written by the host too

    PSG_State psg;
    FDC_State fdc;

    // The processor may hold back the time of instructions during which nothing a device
    // does could be seen, and hand it on with its next Update: heldTime microseconds are
    // held, and no more than heldLimit may be, which every Update works out anew. It is 0
    // after a port write (the devices' next events may have moved), a stop, and a read
    // while an interrupt waits. The machine counts held time before anything could tell:
    // an Update, a port, a write to the video page.
    uint8_t heldTime;
    uint8_t heldLimit;

    // CPC time: every microsecond handed to the devices since start-up. Unlike the
    // processor's counter it includes what port instructions hand on before their access,
    // and it never wraps or restarts at a reset.
    uint64_t deviceTime;
};

// The one machine of this process.
extern CPC_Machine g_Machine;

CPC_Machine* CPC_Init(uint8_t type, uint8_t crtcType);
void CPC_Shutdown(CPC_Machine* machine);
void CPC_Reset();
// Counts the held time and brings the CRTC up to the devices' time.
void CPC_CatchUpVideo();
uint8_t CPC_ReadMem(uint16_t address);
void CPC_WriteMem(uint16_t address, uint8_t value);
void CPC_SetRomConfig(uint16_t word);
void CPC_UpdateMemMap();
void CPC_ReadBlock(uint16_t address, uint8_t* destination, uint16_t count, uint16_t romConfig);
void CPC_MemAccess(uint8_t operation, void* request);
void CPC_RetI();

// RAM configurations of the banking port: the RAM block (0-3 base, 4-7 extra) of each page.
constexpr int CPC_RAM_CONFIGURATION_COUNT = 8;
extern const uint8_t CPC_RAM_CONFIGURATIONS[CPC_RAM_CONFIGURATION_COUNT][4];
// Sets the write map to a RAM configuration (low three bits) and rebuilds the read map.
// Returns false and changes nothing when it needs blocks 4-7 and the machine has none.
bool CPC_SetRamConfig(uint8_t configuration);

// Ports, PPI, Gate Array and RAM banking.
uint8_t CPC_in(uint16_t port);
void CPC_out(uint16_t port, uint8_t value);
void CPC_Update(uint8_t microseconds);
uint8_t CPC_IntAck();
uint8_t PPI_in(uint8_t index);
void PPI_out(uint8_t index, uint8_t value);
void GA_out(uint8_t value);
void EXP_out(uint8_t value);
// Unsupported port functions that software may depend on (ports, PPI, PSG) stop the
// machine with reason 4. Before a processor is attached there is nothing to stop.
void CPC_StopOnUnsupportedPort();
