// The remote debugger's socket thread. It frames the client's bytes into packets, answers
// "+" or "-", hands each packet to the emulation thread through the link and sends the
// answer back once the run loop has put it there. Nothing is allocated per packet, and
// TCP_NODELAY sends every answer at once: GDB reads the stack in tiny pieces.
#include "platform/remote_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "common/remote/remote.h"
#include "common/remote/spin_tuner.h"

namespace {

constexpr int kPollMilliseconds = 20;
constexpr auto kReplySpin = std::chrono::microseconds(2000);
constexpr auto kClientSpin = std::chrono::microseconds(200);
// A client that takes no data for this long is dropped.
constexpr int kSendPatienceMilliseconds = 5000;
constexpr size_t kReceiveSize = 4096;

struct Server {
    std::thread thread;
    std::atomic<bool> stop{false};
    int listeners[2] = {-1, -1};
    int client = -1;
    bool noAck = false;
    bool noAckAsked = false;
    bool awaiting = false;  // a packet of this client is with the emulation thread
    bool spin = false;      // its answer has not been looked for yet
    Rsp_SpinTuner tuner;    // whether to look for the client's next packet before poll
    Rsp_Framer framer;
    char frame[RSP_REPLY_SIZE + 4];
    size_t frameLength = 0;  // the last answer, for a "-"
    uint8_t received[kReceiveSize];
    char reply[RSP_REPLY_SIZE];
};
Server* g_server = nullptr;

bool SendAll(Server& s, const char* data, size_t length) {
    int waited = 0;
    while (length > 0 && s.client >= 0) {
        ssize_t n = send(s.client, data, length, MSG_NOSIGNAL);
        if (n > 0) {
            data += n;
            length -= static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) return false;
        pollfd out{s.client, POLLOUT, 0};
        if (waited >= kSendPatienceMilliseconds) return false;
        poll(&out, 1, kPollMilliseconds);
        waited += kPollMilliseconds;
    }
    return true;
}

void DropClient(Server& s) {
    if (s.client < 0) return;
    close(s.client);
    s.client = -1;
    g_RemoteLink.session.fetch_add(1, std::memory_order_acq_rel);  // even: no client
}

void SendFrame(Server& s, const char* payload, size_t length) {
    s.frameLength = Rsp_Encode(payload, length, s.frame);
    if (!SendAll(s, s.frame, s.frameLength)) DropClient(s);
}

// An answer the run loop left in the slot goes to its client, if that one is still there.
void TakeReply(Server& s) {
    Rsp_Link& link = g_RemoteLink;
    if (link.phase.load(std::memory_order_acquire) != RSP_REPLY) return;
    const bool current =
        s.client >= 0 && link.replySession == link.session.load(std::memory_order_relaxed);
    const uint8_t result = link.replyResult;
    if (current && result != RSP_KILL) SendFrame(s, link.reply, link.replyLength);
    link.phase.store(RSP_IDLE, std::memory_order_release);
    s.awaiting = false;
    if (s.noAckAsked) s.noAck = true;
    s.noAckAsked = false;
    if (current && (result == RSP_DETACH || result == RSP_KILL)) DropClient(s);
}

void Acknowledge(Server& s, char c) {
    if (!s.noAck && !SendAll(s, &c, 1)) DropClient(s);
}

void OnEvent(Server& s, Rsp_Event event) {
    Rsp_Link& link = g_RemoteLink;
    switch (event) {
        case RSP_PACKET:
            s.tuner.OnPacket(
                static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count()));
            // One packet at a time: GDB waits for each answer; anything else is dropped.
            if (s.awaiting || link.phase.load(std::memory_order_acquire) != RSP_IDLE) {
                Acknowledge(s, '+');
                return;
            }
            if (size_t length = 0;
                Rsp_AnswerLent(s.framer.packet, s.framer.length, s.reply, &length)) {
                // The acknowledgement and the answer in one write.
                const size_t ack = s.noAck ? 0 : 1;
                s.frame[0] = '+';
                s.frameLength = Rsp_Encode(s.reply, length, s.frame + ack);
                if (!SendAll(s, s.frame, ack + s.frameLength)) DropClient(s);
                std::memmove(s.frame, s.frame + ack, s.frameLength);  // what a "-" resends
                return;
            }
            Acknowledge(s, '+');
            if (s.client < 0) return;
            std::memcpy(link.request, s.framer.packet, s.framer.length + 1);
            link.requestLength = s.framer.length;
            link.requestSession = link.session.load(std::memory_order_relaxed);
            s.noAckAsked = std::strcmp(s.framer.packet, "QStartNoAckMode") == 0;
            s.awaiting = true;
            s.spin = true;
            link.phase.store(RSP_REQUEST, std::memory_order_release);
            break;
        case RSP_BAD_CHECKSUM: Acknowledge(s, '-'); break;
        case RSP_TOO_LONG:
            Acknowledge(s, '+');
            SendFrame(s, "E01", 3);
            break;
        case RSP_INTERRUPT: link.interrupt.store(1, std::memory_order_relaxed); break;
        case RSP_NAK:
            if (s.frameLength && !SendAll(s, s.frame, s.frameLength)) DropClient(s);
            break;
        default: break;
    }
}

void Accept(Server& s, int listener) {
    int fd = accept(listener, nullptr, nullptr);
    if (fd < 0) return;
    if (s.client >= 0) {  // one client at a time
        close(fd);
        return;
    }
    int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    s.client = fd;
    s.noAck = s.noAckAsked = false;
    s.framer = Rsp_Framer{};
    s.frameLength = 0;
    // A Ctrl-C of the last client is forgotten; one of this client may come before the run
    // loop has even seen it attach.
    g_RemoteLink.interrupt.store(0, std::memory_order_relaxed);
    g_RemoteLink.session.fetch_add(1, std::memory_order_acq_rel);  // odd: a client
}

// Returns whether bytes came.
bool Receive(Server& s, int flags = 0) {
    ssize_t n = recv(s.client, s.received, sizeof s.received, flags);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
        DropClient(s);
        return false;
    }
    for (ssize_t i = 0; i < n && s.client >= 0; ++i) OnEvent(s, Rsp_Feed(&s.framer, s.received[i]));
    return n > 0;
}

void Serve(Server& s) {
    while (!s.stop.load(std::memory_order_acquire)) {
        // The answer usually comes within microseconds: look for it before sleeping, once
        // (a continue may wait for long).
        if (s.awaiting && s.spin) {
            s.spin = false;
            auto until = std::chrono::steady_clock::now() + kReplySpin;
            while (g_RemoteLink.phase.load(std::memory_order_acquire) != RSP_REPLY &&
                   std::chrono::steady_clock::now() < until)
                std::this_thread::yield();
        }
        TakeReply(s);
        // GDB's stack scans send the next packet within microseconds of an answer: look
        // for it before sleeping in poll, where a wake-up costs more than the looking.
        if (s.client >= 0 && !s.awaiting && s.tuner.Spin()) {
            auto until = std::chrono::steady_clock::now() + kClientSpin;
            bool came = false;
            while (s.client >= 0 && !came && std::chrono::steady_clock::now() < until)
                came = Receive(s, MSG_DONTWAIT);
            if (came) continue;
        }
        pollfd fds[3];
        nfds_t count = 0;
        for (int listener : s.listeners)
            if (listener >= 0) fds[count++] = {listener, POLLIN, 0};
        const nfds_t clientIndex = count;
        if (s.client >= 0) fds[count++] = {s.client, POLLIN, 0};
        if (poll(fds, count, kPollMilliseconds) <= 0) continue;
        for (nfds_t i = 0; i < clientIndex; ++i)
            if (fds[i].revents & POLLIN) Accept(s, fds[i].fd);
        if (clientIndex < count && s.client == fds[clientIndex].fd && fds[clientIndex].revents)
            Receive(s);
    }
    TakeReply(s);
    DropClient(s);
}

int Listen(int family, uint16_t port, std::string& error) {
    int fd = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        error = std::strerror(errno);
        return -1;
    }
    int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    int bound;
    if (family == AF_INET) {
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(port);
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bound = bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
    } else {
        setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
        sockaddr_in6 a{};
        a.sin6_family = AF_INET6;
        a.sin6_port = htons(port);
        a.sin6_addr = in6addr_loopback;
        bound = bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
    }
    if (bound != 0 || listen(fd, 2) != 0) {
        error = std::strerror(errno);
        close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

uint16_t PAL_StartRemoteServer(uint16_t port, std::string& error) {
    PAL_StopRemoteServer();
    auto* s = new Server;
    s->listeners[0] = Listen(AF_INET, port, error);
    if (s->listeners[0] < 0) {
        error = "cannot listen on 127.0.0.1:" + std::to_string(port) + ": " + error;
        delete s;
        return 0;
    }
    sockaddr_in bound{};
    socklen_t size = sizeof bound;
    getsockname(s->listeners[0], reinterpret_cast<sockaddr*>(&bound), &size);
    port = ntohs(bound.sin_port);
    std::string ignored;  // a host without IPv6 still has 127.0.0.1
    s->listeners[1] = Listen(AF_INET6, port, ignored);
    g_RemoteLink.port.store(port, std::memory_order_release);
    s->thread = std::thread(Serve, std::ref(*s));
    g_server = s;
    return port;
}

void PAL_StopRemoteServer() {
    Server* s = g_server;
    if (!s) return;
    s->stop.store(true, std::memory_order_release);
    s->thread.join();
    for (int fd : s->listeners)
        if (fd >= 0) close(fd);
    g_RemoteLink.port.store(0, std::memory_order_release);
    g_server = nullptr;
    delete s;
}
