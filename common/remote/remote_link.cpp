// The emulation thread's side of the link to the socket thread: a packet waits in the
// slot until a pass of the run loop takes it, answers it and hands the slot back. A
// client that lets the machine run gets its stop reply once the machine has stopped,
// for whatever reason, or once it sent Ctrl-C.
#include "common/host_services.h"
#include "common/monitor/monitor.h"
#include "common/remote/remote.h"

Rsp_Link g_RemoteLink;

namespace {

// While packets come one after another (GDB reads the stack in thousands of small
// pieces at every stop) the idle loop looks for the next one without sleeping.
constexpr uint64_t kBurstMicroseconds = 5000;
constexpr uint64_t kSpinMicroseconds = 2000;
constexpr uint32_t kNapMicroseconds = 500;

struct Session {
    uint32_t number = 0;      // the link's session as last seen
    bool waiting = false;     // a c or s waits for the machine to stop
    uint64_t lastPacket = 0;  // host clock at the last packet
};
Session g_session;
uint64_t g_ticksPerSecond = 0;

// The monitor's status row says that a client is attached, beside the run state (which
// clears the row whenever it changes).
constexpr int kMarkRow = 40;
constexpr int kMarkColumn = 56;
constexpr const char* kMark = "GDB attached";
constexpr const char* kNoMark = "            ";
struct Mark {
    bool shown = false;
    uint8_t running = 0;
};
Mark g_mark;

void ShowMark(const Z80_State* state) {
    const bool attached = g_session.number & 1;
    if (attached == g_mark.shown && (!attached || state->running == g_mark.running)) return;
    Dbg_PrintAt(kMarkColumn, kMarkRow, attached ? kMark : kNoMark);
    g_mark = {attached, state->running};
}

uint64_t Microseconds() {
    if (g_ticksPerSecond == 0 && !PAL_QueryPerformanceFrequency(&g_ticksPerSecond))
        g_ticksPerSecond = 1;
    const uint64_t t = PAL_QueryPerformanceCounter();
    return t / g_ticksPerSecond * 1000000 + t % g_ticksPerSecond * 1000000 / g_ticksPerSecond;
}

void Answer(Rsp_Link& link, Rsp_Result result, size_t length) {
    link.replySession = g_session.number;
    link.replyResult = result;
    link.replyLength = length;
    link.phase.store(RSP_REPLY, std::memory_order_release);
}

// A client came or went.
uint8_t NewSession(Z80_State* state, uint32_t number) {
    Rsp_Link& link = g_RemoteLink;
    const bool attached = number & 1;
    if (g_session.waiting && link.phase.load(std::memory_order_acquire) == RSP_BUSY)
        link.phase.store(RSP_IDLE, std::memory_order_release);
    g_session = Session{number, false, 0};
    Dbg_Message(attached ? "Remote debugger attached." : "Remote debugger detached.");
    // A debugger expects to find the machine stopped.
    return attached && state->running ? DBG_STOP : DBG_REFRESH;
}

}  // namespace

bool Rsp_Attached() {
    return g_RemoteLink.session.load(std::memory_order_acquire) & 1;
}

uint8_t Rsp_Poll(Z80_State* state) {
    Rsp_Link& link = g_RemoteLink;
    const uint32_t number = link.session.load(std::memory_order_acquire);
    if (number != g_session.number) return NewSession(state, number);
    ShowMark(state);
    const uint8_t phase = link.phase.load(std::memory_order_acquire);
    if (!(number & 1)) {
        // A packet of a client that has gone is dropped.
        if (phase == RSP_REQUEST) link.phase.store(RSP_IDLE, std::memory_order_release);
        return DBG_NONE;
    }
    if (g_session.waiting) {
        const bool interrupted = link.interrupt.load(std::memory_order_relaxed) &&
                                 link.interrupt.exchange(0, std::memory_order_relaxed);
        if (state->running && !interrupted) return DBG_NONE;
        g_session.waiting = false;
        Answer(link, RSP_ANSWER, Rsp_StopReply(state, interrupted && state->running, link.reply));
        return interrupted ? DBG_STOP : DBG_REFRESH;
    }
    if (phase != RSP_REQUEST) return DBG_NONE;
    if (link.requestSession != number) {
        link.phase.store(RSP_IDLE, std::memory_order_release);
        return DBG_NONE;
    }
    g_session.lastPacket = Microseconds();
    size_t length = 0;
    const Rsp_Result result =
        Rsp_Handle(state, link.request, link.requestLength, link.reply, &length);
    switch (result) {
        case RSP_CONTINUE:
        case RSP_STEP:
            // A Ctrl-C that came before this pass took the packet still counts.
            link.phase.store(RSP_BUSY, std::memory_order_relaxed);
            g_session.waiting = true;
            return result == RSP_STEP ? DBG_STEP : DBG_RUN;
        case RSP_DETACH: Answer(link, result, length); return DBG_RUN;  // the machine runs on
        case RSP_KILL: Answer(link, result, 0); return DBG_NONE;
        case RSP_CHANGED: Answer(link, result, length); return DBG_MEMORY_CHANGED;
        default: Answer(link, result, length); return DBG_NONE;
    }
}

bool Rsp_IdleWait(Z80_State* state, uint32_t microseconds) {
    Rsp_Link& link = g_RemoteLink;
    const uint32_t number = link.session.load(std::memory_order_acquire);
    if (!(number & 1) && number == g_session.number) return false;
    const uint64_t start = Microseconds();
    const bool burst = start - g_session.lastPacket < kBurstMicroseconds;
    const uint64_t limit = burst ? kSpinMicroseconds : microseconds;
    link.lentState = state;
    link.lent.store(RSP_LENT, std::memory_order_release);
    do {
        if (link.phase.load(std::memory_order_acquire) == RSP_REQUEST ||
            link.interrupt.load(std::memory_order_relaxed) ||
            link.session.load(std::memory_order_relaxed) != number)
            break;
        if (burst)
            PAL_Yield();
        else
            PAL_SleepMicroseconds(kNapMicroseconds);
    } while (Microseconds() - start < limit);
    // Taken back once the socket thread has finished the read it may be answering.
    for (uint8_t expected = RSP_LENT; !link.lent.compare_exchange_weak(
             expected, RSP_OWNED, std::memory_order_acq_rel, std::memory_order_relaxed);
         expected = RSP_LENT)
        PAL_Yield();
    return true;
}

bool Rsp_AnswerLent(const char* packet, size_t length, char* reply, size_t* replyLength) {
    Rsp_Link& link = g_RemoteLink;
    if (length == 0 || (packet[0] != 'm' && packet[0] != 'g' && packet[0] != 'p')) return false;
    uint8_t expected = RSP_LENT;
    if (!link.lent.compare_exchange_strong(expected, RSP_BORROWED, std::memory_order_acquire,
                                           std::memory_order_relaxed))
        return false;
    Rsp_Handle(link.lentState, packet, length, reply, replyLength);
    link.lent.store(RSP_LENT, std::memory_order_release);
    return true;
}
