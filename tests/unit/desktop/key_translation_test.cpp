// Host keys through real xkeyboard-config layouts into the CPC key queue. Shift+2 on the
// US and German layouts is typed by the desktop tests.
#include "desktop/key_translation.h"

#include <gtest/gtest.h>

#include "desktop/key_backlog.h"
#include "desktop/xkb_layout.h"
#include "psg_test_support.h"

namespace {

// X key codes of a PC keyboard.
constexpr uint32_t kThree = 12, kEight = 17, kQ = 24, kSemicolon = 47, kApostrophe = 48,
                   kShiftL = 50, kAltGr = 108;

struct Step {
    uint32_t virtualKey;
    uint32_t keyCode;
    bool extended;
    uint32_t modifiers;  // X state after the event
    uint8_t pressed;
};

struct Scenario {
    const char* name;
    const char* layout;
    std::vector<Step> steps;
    Keys expected;
};

Step Down(uint32_t vk, uint32_t code = 0, uint32_t mods = 0, bool extended = false) {
    return {vk, code, extended, mods, 1};
}
Step Up(uint32_t vk, uint32_t code = 0, uint32_t mods = 0, bool extended = false) {
    return {vk, code, extended, mods, 0};
}
const Step kShiftDown = Down(VK_SHIFT, kShiftL, XKB_SHIFT_MASK);

const std::vector<Scenario> kScenarios = {
    {"UsShiftApostropheIsQuoteWithShiftHeld",
     "us",
     {kShiftDown, Down(VK_OTHER, kApostrophe, XKB_SHIFT_MASK)},
     {ShiftDown, {8, 0x02, true}}},
    {"GermanAltGrQIsAtAndReleasesControl",
     "de",
     {Down(VK_MENU, kAltGr, XKB_LEVEL3_MASK, true), Down(VK_OTHER, kQ, XKB_LEVEL3_MASK)},
     {{2, 0x80, false}, {3, 0x04, true}}},
    {"BritishShift3IsPound",
     "gb",
     {kShiftDown, Down(VK_OTHER, kThree, XKB_SHIFT_MASK)},
     {ShiftDown, {3, 0x01, true}}},
    {"HeldSemicolonFollowsShiftToColon",
     "us",
     {Down(VK_OTHER, kSemicolon), Down(VK_SHIFT, kShiftL, XKB_SHIFT_MASK)},
     {{3, 0x10, true}, {3, 0x10, false}, ShiftDown, ShiftUp, {3, 0x20, true}}},
    {"ShiftLetGoBeforeStarReleasesItAndTypesNoEight",
     "us",
     {kShiftDown, Down(VK_OTHER, kEight, XKB_SHIFT_MASK), Up(VK_SHIFT, kShiftL)},
     {ShiftDown, {3, 0x20, true}, {3, 0x20, false}, ShiftUp}},
    {"KeypadEnterIsEnterMainIsReturn",
     "us",
     {Down(VK_RETURN, 104, 0, true), Down(VK_RETURN, 36)},
     {{0, 0x40, true}, {2, 0x04, true}}},
    {"RightControlIsCopyLeftIsControl",
     "us",
     {Down(VK_CONTROL, 105, 0, true), Down(VK_CONTROL, 37)},
     {{1, 0x02, true}, {2, 0x80, true}}},
    {"KeypadDigitIsFunctionKey", "us", {Down(VK_NUMPAD0 + 5, 84)}, {{1, 0x10, true}}},
    {"F11ReleaseTogglesJoystick",
     "us",
     {Down(VK_F11), Down('A', 38), Up(VK_F11), Down('A', 38), Down('Q', kQ), Down(VK_SPACE, 65),
      Down(VK_F11), Up(VK_F11), Down('Q', kQ)},
     {{8, 0x20, true}, {9, 0x01, true}, {9, 0x02, true}, {9, 0x10, true}, {8, 0x08, true}}},
    {"LetterKeysSendNothingThroughTheLayout", "us", {Down(VK_OTHER, 38)}, {}},
};

class KeyTranslation : public PsgTest, public ::testing::WithParamInterface<Scenario> {};

TEST_P(KeyTranslation, SendsTheCpcKeys) {
    const Scenario& scenario = GetParam();
    ASSERT_TRUE(Xkb_LoadByName(scenario.layout, nullptr)) << "xkeyboard-config is missing";
    Key_SetLayoutLookup(Xkb_LayoutLookup);
    Key_ResetTranslation();
    for (const Step& step : scenario.steps) {
        Xkb_SetModifiers(step.modifiers, 0);
        Win32_TranslateKey(step.virtualKey, Key_MakeParam(step.keyCode, step.extended),
                           step.pressed);
    }
    EXPECT_EQ(QueuedKeys(), scenario.expected);
    Xkb_Unload();
}

INSTANTIATE_TEST_SUITE_P(Desktop, KeyTranslation, ::testing::ValuesIn(kScenarios),
                         [](const auto& info) { return std::string(info.param.name); });

// Keys typed faster than the queue drains wait in the backlog, in order, and none is lost.
using KeyBacklog = PsgTest;
TEST_F(KeyBacklog, KeepsWhatTheQueueCannotTakeInOrder) {
    PSG_SetKeySender(KeyBacklog_Send);
    for (int i = 0; i < 50; ++i) PSG_KeyEvent(static_cast<uint8_t>('A' + i % 26), i < 26);
    PSG_SetKeySender(nullptr);
    Keys seen = QueuedKeys();
    EXPECT_EQ(seen.size(), 31u);
    g_Machine.psg.keyQueueRead.store(g_Machine.psg.keyQueueWrite.load());  // all taken
    EXPECT_EQ(KeyBacklog_Drain(), 0u);
    for (const QueuedKey& key : QueuedKeys()) seen.push_back(key);
    ASSERT_EQ(seen.size(), 50u);
    EXPECT_EQ(seen[31], (QueuedKey{6, 0x20, false})) << "F, released";
    EXPECT_TRUE(Traces().empty()) << "nothing dropped";
}

}  // namespace
