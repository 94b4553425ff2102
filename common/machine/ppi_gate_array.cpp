// The 8255 PPI (PSG bus, keyboard row, VSYNC input) and the Gate Array (pens, inks,
// screen mode, ROM enables, interrupt counter reset, RAM banking).
#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "common/tape/tape.h"
#include "common/xtools/xtools.h"

namespace {

// PSG bus functions carried by bits 7-6 of PPI port C.
constexpr uint8_t PSG_BUS_INACTIVE = 0;
constexpr uint8_t PSG_BUS_READ = 1;
constexpr uint8_t PSG_BUS_WRITE = 2;
constexpr uint8_t PSG_BUS_SELECT = 3;

uint8_t BusFunction(uint8_t portC) {
    return static_cast<uint8_t>(portC >> 6);
}

}  // namespace

void PPI_out(uint8_t index, uint8_t value) {
    PPI_State& ppi = g_Machine.ppi;
    switch (index & 3) {
        case 0:
            ppi.portA = value;
            // The PSG sees the new data at once while port C holds a bus function.
            if (BusFunction(ppi.portC) == PSG_BUS_SELECT) {
                PSG_Select(ppi.portA);
            } else if (BusFunction(ppi.portC) == PSG_BUS_WRITE) {
                PSG_Write(ppi.portA);
            }
            break;
        case 1:
            XT_Trace("* PPI_out(): PPI Port B (F5) Write %02XH -> Incompatible CPC, Ignored",
                     value);
            CPC_StopOnUnsupportedPort();
            break;
        case 2:
            ppi.portC = value;
            switch (BusFunction(value)) {
                case PSG_BUS_READ: ppi.portA = PSG_Read(value); break;
                case PSG_BUS_WRITE: PSG_Write(ppi.portA); break;
                case PSG_BUS_SELECT: PSG_Select(ppi.portA); break;
                case PSG_BUS_INACTIVE: break;
            }
            TAPE_WritePortC(value);  // the cassette motor and write data
            break;
        case 3:
            if (value & 0x80) {
                ppi.control = value;  // a mode: stored only
            } else {
                // Bit set/reset of port C: the firmware drives the cassette motor this way.
                // Only a change of the PSG bus function starts a bus cycle again.
                uint8_t bit = static_cast<uint8_t>(1 << ((value >> 1) & 7));
                uint8_t portC =
                    static_cast<uint8_t>((value & 1) ? ppi.portC | bit : ppi.portC & ~bit);
                if (BusFunction(portC) != BusFunction(ppi.portC)) {
                    PPI_out(2, portC);
                } else {
                    ppi.portC = portC;
                    TAPE_WritePortC(portC);
                }
            }
            break;
    }
}

uint8_t PPI_in(uint8_t index) {
    switch (index & 3) {
        case 0: return g_Machine.ppi.portA;
        case 1: return g_Machine.ppi.portB | TAPE_ReadBit();  // bit 7: cassette data
        case 2: return g_Machine.ppi.portC;
        default: XT_Trace("* PPI_in(): Reading from Control: Invalid - Returning 0x00"); return 0;
    }
}

void GA_out(uint8_t value) {
    GA_State& ga = g_Machine.ga;
    switch (value >> 6) {
        case 0: ga.selectedPen = (value & 0x10) ? 16 : static_cast<uint8_t>(value & 15); break;
        case 1: ga.penInks[ga.selectedPen] = static_cast<uint8_t>(value & 31); break;
        case 2: {
            if (value & 0x10) {
                XT_Trace("GA_out(): Resetting INT counter");
                ga.intLineCounter = 0;
                ga.intPending = 0;
            }
            // The enable bits are active low.
            uint16_t word = static_cast<uint16_t>(g_Machine.memSelect & 0xFF);
            if ((value & 0x08) == 0) word |= CPC_ROMCFG_UPPER;
            if ((value & 0x04) == 0) word |= CPC_ROMCFG_LOWER;
            CPC_SetRomConfig(word);
            ga.screenMode = static_cast<uint8_t>(value & 3);
            break;
        }
        case 3: EXP_out(value); break;
    }
}

void EXP_out(uint8_t value) {
    if ((g_Machine.Type & CPC_TYPE_EXTRA_RAM) == 0) {
        XT_Trace("* EXP_out(%02XH): RAM Memory management not implemented", value);
        return;
    }
    // Bits 3-5 choose a 64 KB bank of a larger expansion; only the first exists here.
    uint8_t bank = static_cast<uint8_t>((value >> 3) & 7);
    if (bank != 0) {
        XT_Trace("* EXP_out(): Logical block %d not supported (only 0 is)", bank);
        return;
    }
    CPC_SetRamConfig(static_cast<uint8_t>(value & 7));
}
