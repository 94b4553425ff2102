#pragma once
// Whether the remote debugger's socket thread looks for a client's next packet before it
// sleeps in poll. Which is faster depends on the host: where a sleeping thread wakes
// slowly (a virtual machine whose idle processors halt), looking saves a slow wake-up per
// packet; where it wakes quickly, looking only keeps a processor from the client. GDB
// reads the stack in tens of thousands of packets at a stop, so during such bursts the
// tuner times a stretch of packets each way, keeps the faster way for a longer stretch,
// then times both again, as the host may have changed.
#include <cstdint>

class Rsp_SpinTuner {
   public:
    static constexpr uint64_t kBurstGapMicroseconds = 1000;  // a longer gap is not timed
    static constexpr uint32_t kTrialPackets = 256;           // timed each way
    static constexpr uint32_t kKeepPackets = 16384;          // the faster way, untimed

    // A packet came at this host time (microseconds).
    void OnPacket(uint64_t microseconds) {
        const uint64_t gap = microseconds - last_;
        const bool timed = last_ != 0 && gap <= kBurstGapMicroseconds;
        last_ = microseconds;
        if (!timed) return;
        spent_ += gap;
        if (++count_ < (phase_ == KEEP ? kKeepPackets : kTrialPackets)) return;
        switch (phase_) {
            case TRY_SPIN:
                spinSpent_ = spent_;
                Begin(TRY_SLEEP, false);
                break;
            case TRY_SLEEP: Begin(KEEP, spinSpent_ <= spent_); break;
            case KEEP: Begin(TRY_SPIN, true); break;
        }
    }
    bool Spin() const { return spin_; }

   private:
    enum Phase : uint8_t { TRY_SPIN, TRY_SLEEP, KEEP };
    void Begin(Phase phase, bool spin) {
        phase_ = phase;
        spin_ = spin;
        count_ = 0;
        spent_ = 0;
    }
    Phase phase_ = TRY_SPIN;
    bool spin_ = true;
    uint32_t count_ = 0;
    uint64_t last_ = 0;
    uint64_t spent_ = 0;
    uint64_t spinSpent_ = 0;
};
