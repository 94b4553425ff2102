#include "tools/runner/key_script.h"

#include <gtest/gtest.h>

#include "common/sound/psg.h"

TEST(KeyScript, CharactersBecomeKeys) {
    std::vector<KeyStroke> strokes;
    std::string error;
    ASSERT_TRUE(Runner_ParseTypedText("Pr 6*7", strokes, error)) << error;
    ASSERT_EQ(strokes.size(), 6u);
    EXPECT_EQ(strokes[0].code, 'P');
    EXPECT_TRUE(strokes[0].shifted);
    EXPECT_EQ(strokes[1].code, 'R');
    EXPECT_FALSE(strokes[1].shifted);
    EXPECT_EQ(strokes[2].code, PSG_KEY_SPACE);
    EXPECT_EQ(strokes[4].code, '*');  // the key translator adds SHIFT for it
    EXPECT_FALSE(strokes[4].shifted);

    ASSERT_TRUE(Runner_ParseTypedText("\xC2\xA3", strokes, error)) << error;
    ASSERT_EQ(strokes.size(), 1u);
    EXPECT_EQ(strokes[0].code, PSG_KEY_POUND);
}

TEST(KeyScript, Escapes) {
    std::vector<KeyStroke> strokes;
    std::string error;
    ASSERT_TRUE(Runner_ParseTypedText("\\n\\e\\t\\b\\\\\\{COPY}\\{F7}\\{LEFT}", strokes, error))
        << error;
    std::vector<uint8_t> codes;
    for (const KeyStroke& s : strokes) codes.push_back(s.code);
    EXPECT_EQ(codes,
              (std::vector<uint8_t>{PSG_KEY_RETURN, PSG_KEY_ESC, PSG_KEY_TAB, PSG_KEY_DEL, '\\',
                                    PSG_KEY_COPY, PSG_KEY_F0 + 7, PSG_KEY_CURSOR_LEFT}));

    for (const char* bad : {"\\", "\\x", "\\{NOPE}", "\\{COPY", "~", "\x01"}) {
        EXPECT_FALSE(Runner_ParseTypedText(bad, strokes, error)) << bad;
        EXPECT_FALSE(error.empty());
    }
}
