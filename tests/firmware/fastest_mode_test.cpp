// "Fastest" (line-based CRTC, thread-driven sound) boots every model to the same screen as
// "Best": the same text, and the same pixels in the display area, which the line-based
// CRTC puts one row lower and one pixel further left.
#include "common/machine/machine.h"
#include "common/video/renderer.h"
#include "firmware_support.h"

namespace {

class Fastest : public FirmwareTest, public ::testing::WithParamInterface<int> {
   protected:
    // Boots TYPE to BASIC; the screen's text and its 640 x 200 display area.
    void Boot(uint8_t type, int top, int left, std::vector<std::string>& text,
              std::vector<uint8_t>& display) {
        Start(type);
        if (HasFatalFailure()) return;
        TypeAndExpect("", "Ready");
        ASSERT_TRUE(Runner_Run(machine_, 500 * 1000));
        text = Runner_ScreenText();
        for (int row = top; row < top + 200; ++row) {
            const uint8_t* line = machine_.frameBuffer.data() + size_t{PAL_FRAME_ROW_BYTES} * row;
            display.insert(display.end(), line + left, line + left + 640);
        }
        Runner_ShutdownMachine(machine_);
    }
};

}  // namespace

TEST_P(Fastest, ShowsWhatBestShows) {
    std::vector<std::string> bestText, fastText;
    std::vector<uint8_t> bestDisplay, fastDisplay;
    Boot(static_cast<uint8_t>(GetParam()), 39, 65, bestText, bestDisplay);
    Boot(static_cast<uint8_t>(GetParam() | CPC_TYPE_SPEED_BITS), 40, 64, fastText, fastDisplay);
    if (HasFatalFailure()) return;
    EXPECT_EQ(fastText, bestText);
    EXPECT_TRUE(fastDisplay == bestDisplay) << "the display areas differ";
}

INSTANTIATE_TEST_SUITE_P(Models, Fastest,
                         ::testing::Values(int{CPC_MODEL_464}, int{CPC_MODEL_464_FDI},
                                           int{CPC_MODEL_664}, int{CPC_MODEL_6128}));
