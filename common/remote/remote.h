#pragma once
// The GDB remote serial protocol: packets framed from a byte stream, commands answered
// from the processor record and the memory it sees, and the link through which a socket
// thread hands packets to the emulation thread and takes the answers back.
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "common/z80/z80.h"

// The longest packet a client may send (its payload), as offered in qSupported.
constexpr size_t RSP_PACKET_SIZE = 4096;
// An answer: a memory read of half a packet in hex, the target description, a stop reply.
constexpr size_t RSP_REPLY_SIZE = RSP_PACKET_SIZE + 64;
constexpr int RSP_REGISTER_COUNT = 13;  // af bc de hl sp pc ix iy af' bc' de' hl' ir

// --- Framing --------------------------------------------------------------------------
enum Rsp_Event : uint8_t {
    RSP_NONE,          // the byte belongs to a packet not yet complete
    RSP_PACKET,        // a packet with a good checksum is in the framer
    RSP_BAD_CHECKSUM,  // answer "-"; the packet is not acted on
    RSP_TOO_LONG,      // longer than RSP_PACKET_SIZE; answer with an error
    RSP_INTERRUPT,     // the 0x03 byte outside a packet
    RSP_ACK,
    RSP_NAK,
};

struct Rsp_Framer {
    uint8_t phase = 0;
    uint8_t sum = 0;
    uint8_t check = 0;
    bool overflow = false;
    size_t length = 0;
    char packet[RSP_PACKET_SIZE + 1] = {};  // NUL-terminated payload of the last packet
};

Rsp_Event Rsp_Feed(Rsp_Framer* framer, uint8_t byte);
// "$payload#cs" into out (length + 4 bytes); returns its length.
size_t Rsp_Encode(const char* payload, size_t length, char* out);

// --- Commands (emulation thread) ------------------------------------------------------
enum Rsp_Result : uint8_t {
    RSP_ANSWER,    // send the reply
    RSP_CHANGED,   // send the reply; memory, registers or breakpoints changed
    RSP_CONTINUE,  // no reply until the machine stops
    RSP_STEP,      // one instruction, then the stop reply
    RSP_DETACH,    // send the reply, then the client goes and the machine runs on
    RSP_KILL,      // no reply; the client goes
};

// Carries out one packet; the reply goes to reply (RSP_REPLY_SIZE bytes).
Rsp_Result Rsp_Handle(Z80_State* state, const char* packet, size_t length, char* reply,
                      size_t* replyLength);
// The stop reply for the machine as it stands: why it stopped, and its PC.
size_t Rsp_StopReply(Z80_State* state, bool interrupted, char* reply);

// --- The link between the socket thread and the emulation thread ------------------------
// The slot belongs to the socket thread while IDLE or REPLY and to the emulation thread
// while REQUEST or BUSY; each hands it over with a release store.
enum Rsp_LinkPhase : uint8_t { RSP_IDLE, RSP_REQUEST, RSP_BUSY, RSP_REPLY };
enum Rsp_Lending : uint8_t { RSP_OWNED, RSP_LENT, RSP_BORROWED };

struct Rsp_Link {
    std::atomic<uint8_t> phase{RSP_IDLE};
    std::atomic<uint8_t> interrupt{0};  // Ctrl-C from the client
    std::atomic<uint32_t> session{0};   // counts clients; odd while one is attached
    std::atomic<uint16_t> port{0};      // the listening port, 0 when none
    // While the run loop idles it lends the machine to the socket thread, which then
    // answers reads (m, g, p) itself: a stop of GDB costs thousands of them.
    std::atomic<uint8_t> lent{RSP_OWNED};
    Z80_State* lentState = nullptr;
    uint32_t requestSession = 0;
    size_t requestLength = 0;
    char request[RSP_PACKET_SIZE + 1] = {};
    uint32_t replySession = 0;
    uint8_t replyResult = RSP_ANSWER;
    size_t replyLength = 0;
    char reply[RSP_REPLY_SIZE] = {};
};

extern Rsp_Link g_RemoteLink;

// Called by the run loop on its passes: takes a packet or a Ctrl-C, answers, and tells
// the client when the machine it let run has stopped. Returns a monitor code.
uint8_t Rsp_Poll(Z80_State* state);
// For an idle pass of a stopped machine: while a client is attached, waits up to the
// given time for its next packet (at once while packets come in a burst) and returns
// true; false when no client is attached.
bool Rsp_IdleWait(Z80_State* state, uint32_t microseconds);
// The socket thread's side: answers a read at once while the machine is lent; false when
// the packet must go through the slot.
bool Rsp_AnswerLent(const char* packet, size_t length, char* reply, size_t* replyLength);
// True while a client is attached.
bool Rsp_Attached();
