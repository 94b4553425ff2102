// CPC key codes into matrix events: every code's key and the SHIFT it needs, SHIFT changes
// under a held symbol key, and the helpers a front end types text with.
#include <fstream>
#include <map>
#include <sstream>

#include "psg_test_support.h"

using KeyTranslator = PsgTest;

TEST_F(KeyTranslator, EveryKeyCodeWithShiftUpAndHeld) {
    struct Key {
        QueuedKey down, up;
        std::string shift;  // D as it is, S needs SHIFT, U needs it up, SHIFT the key itself
    };
    std::map<int, Key> keys;
    std::ifstream file(UNIT_TEST_DIR "/key_codes.txt");
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        int code, row, mask;
        std::string shift;
        fields >> std::hex >> code >> row >> mask >> shift;
        keys[code] = {
            {uint8_t(row), uint8_t(mask), true}, {uint8_t(row), uint8_t(mask), false}, shift};
    }
    ASSERT_EQ(keys.size(), 98u) << "key_codes.txt";

    for (int code = 0; code < 256; ++code) {
        for (bool held : {false, true}) {
            PSG_Reset();
            Keys expected;
            if (held) PSG_KeyEvent(PSG_KEY_SHIFT, 1), expected.push_back(ShiftDown);
            PSG_KeyEvent(static_cast<uint8_t>(code), 1);
            PSG_KeyEvent(static_cast<uint8_t>(code), 0);
            auto key = keys.find(code);
            if (key != keys.end()) {
                const Key& k = key->second;
                bool add = k.shift == "S" && !held, lift = k.shift == "U" && held;
                if (add) expected.push_back(ShiftDown);
                if (lift) expected.push_back(ShiftUp);
                expected.insert(expected.end(), {k.down, k.up});
                if (add) expected.push_back(ShiftUp);
                if (lift) expected.push_back(ShiftDown);
            }
            EXPECT_EQ(QueuedKeys(), expected)
                << std::hex << "code " << code << (held ? " SHIFT held" : "");
        }
    }
}

// The host reports a SHIFT change under a held symbol key first, then the key again with
// its new character.
TEST_F(KeyTranslator, ShiftChangeUnderAHeldSymbolReleasesIt) {
    constexpr QueuedKey SemicolonDown{3, 0x10, true}, SemicolonUp{3, 0x10, false};
    constexpr QueuedKey ColonDown{3, 0x20, true}, ColonUp{3, 0x20, false};
    for (auto [code, pressed] : std::vector<std::pair<uint8_t, uint8_t>>{
             {';', 1}, {PSG_KEY_SHIFT, 1}, {':', 1}, {':', 0}, {PSG_KEY_SHIFT, 0}})
        PSG_KeyEvent(code, pressed);
    EXPECT_EQ(QueuedKeys(), (Keys{SemicolonDown, SemicolonUp, ShiftDown, ShiftUp, ColonDown,
                                  ColonUp, ShiftDown, ShiftUp}));

    // A release is recorded as the last symbol key too (the queue cannot show it).
    PSG_KeyEvent('!', 1);
    PSG_KeyEvent(';', 0);
    EXPECT_EQ(g_Machine.psg.lastSymbolRow, 3);
    EXPECT_EQ(g_Machine.psg.lastSymbolMask, 0x10);
}

// Most of PSG_KeyCodeForChar is checked through the runner's typed text, which uses it.
TEST_F(KeyTranslator, CharEventsHoldShiftAroundCapitalsOnly) {
    for (uint8_t c : {'H', 'i'}) {
        EXPECT_TRUE(PSG_CharEvent(c, 1));
        EXPECT_TRUE(PSG_CharEvent(c, 0));
    }
    for (uint8_t none : {0x7E, 0x01, 0x80, 0x86, 0xFF}) EXPECT_FALSE(PSG_CharEvent(none, 1));
    const Keys h = {{5, 0x10, true}, {5, 0x10, false}}, i = {{4, 0x08, true}, {4, 0x08, false}};
    EXPECT_EQ(QueuedKeys(), (Keys{ShiftDown, h[0], h[1], ShiftUp, i[0], i[1]}));
    uint8_t shift = 9;
    EXPECT_EQ(PSG_KeyCodeForChar('"', &shift), '"');
    EXPECT_EQ(shift, 0) << "the translator adds SHIFT for symbols itself";
    EXPECT_EQ(PSG_KeyCodeForChar('\n', nullptr), PSG_KEY_RETURN);
}
