// The socket thread's choice between looking for the next packet and sleeping: packets
// come at the gap each way costs, and the tuner must settle on the cheaper way, ignore
// the pauses between bursts, and time both ways again after a while.
#include "common/remote/spin_tuner.h"

#include <gtest/gtest.h>

namespace {

struct Host {
    uint64_t spinGap;     // microseconds between packets while the thread looks
    uint64_t sleepGap;    // while it sleeps in poll
    uint64_t pauseEvery;  // while it sleeps, a pause of 5 ms after this many packets
};

// Feeds packets as such a host delivers them until the tuner has timed this many (the
// packet after a pause is not timed); returns the choice after them.
bool Settle(Rsp_SpinTuner& tuner, const Host& host, uint64_t& now, uint32_t timed) {
    for (uint32_t i = 1; timed > 0; ++i) {
        now += tuner.Spin() ? host.spinGap : host.sleepGap;
        const bool pause = !tuner.Spin() && host.pauseEvery && i % host.pauseEvery == 0;
        if (pause) now += 5000;
        tuner.OnPacket(now);
        timed -= !pause;
    }
    return tuner.Spin();
}

TEST(SpinTuner, KeepsTheCheaperWayAndTimesBothAgainLater) {
    constexpr uint32_t kTrials = 2 * Rsp_SpinTuner::kTrialPackets;
    const struct {
        Host host;
        bool spin;
    } cases[] = {
        {{20, 70, 0}, true},  // wake-ups are slow: look
        {{12, 5, 0}, false},  // wake-ups are cheap: sleep
        {{20, 20, 0}, true},  // a tie keeps looking
        // Pauses (a continue, the user typing) fall between bursts and are not timed.
        {{12, 5, 7}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.host.spinGap << " / " << c.host.sleepGap);
        Rsp_SpinTuner tuner;
        uint64_t now = 1000000;
        tuner.OnPacket(now);        // the first packet only starts the clock
        EXPECT_TRUE(tuner.Spin());  // looking is right on most hosts until timed
        EXPECT_EQ(Settle(tuner, c.host, now, kTrials), c.spin);
        EXPECT_EQ(Settle(tuner, c.host, now, Rsp_SpinTuner::kKeepPackets - 1), c.spin);
        // The host changes: the next trials find the other way cheaper.
        const Host changed{c.host.sleepGap, c.host.spinGap, c.host.pauseEvery};
        if (c.host.spinGap != c.host.sleepGap) {
            EXPECT_EQ(Settle(tuner, changed, now, 1 + kTrials), !c.spin);
        }
    }
}

}  // namespace
