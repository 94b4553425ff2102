// CPC key codes into matrix events: the SHIFT that characters need, and the helpers a
// front end uses to type text.
#include "common/machine/machine.h"
#include "common/sound/psg.h"
#include "psg_test_support.h"

namespace {
using KeyTranslator = PsgTest;
using Keys = std::vector<QueuedKey>;

constexpr QueuedKey OneDown{8, 0x01, true}, OneUp{8, 0x01, false};
constexpr QueuedKey SemicolonDown{3, 0x10, true}, SemicolonUp{3, 0x10, false};
constexpr QueuedKey ColonDown{3, 0x20, true}, ColonUp{3, 0x20, false};
}  // namespace

TEST_F(KeyTranslator, ShiftedCharacterPressesShiftOnlyWhileItIsHeld) {
    PSG_KeyEvent('!', 1);
    EXPECT_EQ(QueuedKeys(), (Keys{ShiftDown, OneDown}));
    PSG_KeyEvent('!', 0);
    EXPECT_EQ(QueuedKeys(), (Keys{ShiftDown, OneDown, OneUp, ShiftUp}));
}

TEST_F(KeyTranslator, UnshiftedCharacterLiftsAHeldShiftAndPutsItBack) {
    PSG_KeyEvent(PSG_KEY_SHIFT, 1);
    PSG_KeyEvent(';', 1);
    EXPECT_EQ(QueuedKeys(), (Keys{ShiftDown, ShiftUp, SemicolonDown}));
    PSG_KeyEvent(';', 0);
    PSG_KeyEvent(PSG_KEY_SHIFT, 0);
    EXPECT_EQ(QueuedKeys(),
              (Keys{ShiftDown, ShiftUp, SemicolonDown, SemicolonUp, ShiftDown, ShiftUp}));
}

// The host reports a SHIFT change under a held symbol key, then that key's new character.
TEST_F(KeyTranslator, ShiftChangeUnderAHeldSymbolReleasesIt) {
    PSG_KeyEvent(';', 1);
    PSG_KeyEvent(PSG_KEY_SHIFT, 1);
    EXPECT_EQ(QueuedKeys(), (Keys{SemicolonDown, SemicolonUp, ShiftDown}));
    EXPECT_EQ(g_Machine.psg.shiftOverride.load(), PSG_SHIFT_OVERRIDE_NONE);
    EXPECT_EQ(g_Machine.psg.lastSymbolRow.load(), PSG_NO_SYMBOL_ROW);

    PSG_KeyEvent(':', 1);
    PSG_KeyEvent(':', 0);
    PSG_KeyEvent(PSG_KEY_SHIFT, 0);
    EXPECT_EQ(QueuedKeys(), (Keys{SemicolonDown, SemicolonUp, ShiftDown, ShiftUp, ColonDown,
                                  ColonUp, ShiftDown, ShiftUp}));
}

TEST_F(KeyTranslator, DirectKeysLeaveShiftAloneAndUnknownCodesAreIgnored) {
    PSG_KeyEvent(PSG_KEY_SHIFT, 1);
    PSG_KeyEvent('A', 1);
    PSG_KeyEvent(PSG_KEY_RETURN, 1);
    PSG_KeyEvent(PSG_KEY_JOY_FIRE2, 0);
    for (uint8_t ignored : {0x00, 0x61, 0x7A, 0x82, 0x98, 0x9F, 0xFF}) PSG_KeyEvent(ignored, 1);
    EXPECT_EQ(QueuedKeys(), (Keys{ShiftDown, {8, 0x20, true}, {2, 0x04, true}, {9, 0x10, false}}));
}

TEST_F(KeyTranslator, TextCharactersMapToKeyCodes) {
    uint8_t shift = 9;
    EXPECT_EQ(PSG_KeyCodeForChar('"', &shift), '"');
    EXPECT_EQ(shift, 0) << "the translator adds SHIFT for symbols itself";
    EXPECT_EQ(PSG_KeyCodeForChar('\n', nullptr), PSG_KEY_RETURN);
    EXPECT_EQ(PSG_KeyCodeForChar(0xA3, nullptr), PSG_KEY_POUND);
    // No key types ~ or control characters; the named keys above 0x7F are not characters.
    for (uint8_t none : {0x7E, 0x01, 0x80, 0x86, 0xFF}) {
        EXPECT_EQ(PSG_KeyCodeForChar(none, nullptr), PSG_KEY_NONE) << int(none);
    }
}

TEST_F(KeyTranslator, CharEventHoldsShiftAroundCapitals) {
    EXPECT_TRUE(PSG_CharEvent('H', 1));
    EXPECT_TRUE(PSG_CharEvent('H', 0));
    EXPECT_TRUE(PSG_CharEvent('i', 1));
    EXPECT_TRUE(PSG_CharEvent('i', 0));
    EXPECT_FALSE(PSG_CharEvent('~', 1));
    EXPECT_EQ(QueuedKeys(), (Keys{ShiftDown,
                                  {5, 0x10, true},
                                  {5, 0x10, false},
                                  ShiftUp,
                                  {4, 0x08, true},
                                  {4, 0x08, false}}));
    EXPECT_EQ(PSG_KeyQueueCount(), 6);
    EXPECT_FALSE(PSG_KeyQueueEmpty());
}
