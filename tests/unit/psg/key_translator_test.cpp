// CPC key codes into matrix events: the SHIFT that characters need, and the helpers a
// front end uses to type text.
#include <utility>

#include "psg_test_support.h"

using KeyTranslator = PsgTest;

TEST_F(KeyTranslator, ShiftFollowsWhatEachCharacterNeeds) {
    constexpr QueuedKey OneDown{8, 0x01, true}, OneUp{8, 0x01, false};
    constexpr QueuedKey SemicolonDown{3, 0x10, true}, SemicolonUp{3, 0x10, false};
    constexpr QueuedKey ColonDown{3, 0x20, true}, ColonUp{3, 0x20, false};
    constexpr uint8_t SHIFT = PSG_KEY_SHIFT;
    struct Case {
        const char* what;
        std::vector<std::pair<uint8_t, uint8_t>> events;  // key code, pressed
        Keys expected;
    };
    const Case cases[] = {
        {"a shifted character presses SHIFT only while it is held",
         {{'!', 1}, {'!', 0}},
         {ShiftDown, OneDown, OneUp, ShiftUp}},
        {"an unshifted character lifts a held SHIFT and puts it back",
         {{SHIFT, 1}, {';', 1}, {';', 0}, {SHIFT, 0}},
         {ShiftDown, ShiftUp, SemicolonDown, SemicolonUp, ShiftDown, ShiftUp}},
        // The host reports a SHIFT change under a held symbol key, then its new character.
        {"a SHIFT change under a held symbol releases it",
         {{';', 1}, {SHIFT, 1}, {':', 1}, {':', 0}, {SHIFT, 0}},
         {SemicolonDown, SemicolonUp, ShiftDown, ShiftUp, ColonDown, ColonUp, ShiftDown, ShiftUp}},
        {"direct keys leave SHIFT alone; unknown codes are ignored",
         {{SHIFT, 1},
          {'A', 1},
          {PSG_KEY_RETURN, 1},
          {PSG_KEY_JOY_FIRE2, 0},
          {0x00, 1},
          {0x61, 1},
          {0x7A, 1},
          {0x82, 1},
          {0x98, 1},
          {0x9F, 1},
          {0xFF, 1}},
         {ShiftDown, {8, 0x20, true}, {2, 0x04, true}, {9, 0x10, false}}},
    };
    for (const Case& c : cases) {
        PSG_Reset();
        for (auto [code, pressed] : c.events) PSG_KeyEvent(code, pressed);
        EXPECT_EQ(QueuedKeys(), c.expected) << c.what;
    }
}

// Most of PSG_KeyCodeForChar is checked through the runner's typed text, which uses it.
TEST_F(KeyTranslator, CharEventsHoldShiftAroundCapitalsOnly) {
    for (uint8_t c : {'H', 'i'}) {
        EXPECT_TRUE(PSG_CharEvent(c, 1));
        EXPECT_TRUE(PSG_CharEvent(c, 0));
    }
    for (uint8_t none : {0x7E, 0x01, 0x80, 0x86, 0xFF}) EXPECT_FALSE(PSG_CharEvent(none, 1));
    EXPECT_EQ(QueuedKeys(), (Keys{ShiftDown,
                                  {5, 0x10, true},
                                  {5, 0x10, false},
                                  ShiftUp,
                                  {4, 0x08, true},
                                  {4, 0x08, false}}));
    uint8_t shift = 9;
    EXPECT_EQ(PSG_KeyCodeForChar('"', &shift), '"');
    EXPECT_EQ(shift, 0) << "the translator adds SHIFT for symbols itself";
    EXPECT_EQ(PSG_KeyCodeForChar('\n', nullptr), PSG_KEY_RETURN);
}
