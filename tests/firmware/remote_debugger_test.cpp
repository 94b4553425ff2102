// The remote debugger end to end: brallivane-run at the BASIC prompt, driven by the real
// GDB for the Z80 (gdb_session.txt), then by a raw client that interrupts a running
// machine with Ctrl-C; after each detach the machine runs on.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <thread>

#include "firmware_support.h"
#include "temp_folder.h"

namespace {

const std::string kGdb = std::string(BRALLIVANE_SHARED_DIR) + "/tools/z80-unknown-elf-gdb";

std::string ReadLine(std::FILE* from) {
    char line[512];
    return std::fgets(line, sizeof line, from) ? line : "";
}

// A raw client: sends a packet (or bytes) and reads until the text shows up.
struct RawClient {
    int fd = -1;
    explicit RawClient(int port) {
        fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(static_cast<uint16_t>(port));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        timeval patience{60, 0};  // a missing answer fails the test instead of hanging it
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) fd = -1;
    }
    ~RawClient() {
        if (fd >= 0) close(fd);
    }
    void Send(const std::string& bytes) { send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    std::string ReadUntil(const std::string& text) {
        std::string got;
        char buffer[4096];
        while (got.find(text) == std::string::npos) {
            ssize_t n = recv(fd, buffer, sizeof buffer, 0);
            if (n <= 0) break;
            got.append(buffer, static_cast<size_t>(n));
        }
        return got;
    }
};

TEST(RemoteDebugger, GdbSessionCtrlCAndDetach) {
    if (!FirmwarePresent()) GTEST_SKIP() << "no firmware images in " << FirmwareDirectory();
    if (access(kGdb.c_str(), X_OK) != 0) GTEST_SKIP() << "no GDB for the Z80 at " << kGdb;
    TempFolder folder;
    // A runner left waiting by a failed check ends on its own.
    std::string command =
        "timeout 120 " + std::string(RUNNER_PATH) + " --no-trace --roms " + FirmwareDirectory() +
        " --gdb 0 --until-text Ready --gdb-wait --gdb-wait --run-ms 100" + " --dump-monitor 2>&1";
    std::FILE* runner = popen(command.c_str(), "r");
    ASSERT_TRUE(runner);
    int port = 0;
    for (std::string line; (line = ReadLine(runner)) != "gdb: waiting for a client\n";) {
        ASSERT_FALSE(line.empty()) << "the runner ended before waiting for a client";
        std::sscanf(line.c_str(), "gdb: listening on port %d", &port);
    }
    ASSERT_NE(port, 0);

    // GDB plays the session; each "#>" text must follow in its output.
    std::ifstream session(std::string(FIRMWARE_TEST_DIR) + "/gdb_session.txt");
    std::ofstream script(folder.File("session.gdb"));
    std::vector<std::string> expected;
    for (std::string line; std::getline(session, line);) {
        if (line.rfind("#>", 0) == 0) expected.push_back(line.substr(3));
        if (line.empty() || line[0] == '#') continue;
        if (size_t at = line.find("@PORT@"); at != std::string::npos)
            line.replace(at, 6, std::to_string(port));
        script << line << "\n";
    }
    script.close();
    CommandResult gdb = RunCommand(kGdb + " -nx -batch -x " + folder.File("session.gdb") + " 2>&1");
    size_t at = 0;
    for (const std::string& text : expected) {
        size_t found = gdb.out.find(text, at);
        ASSERT_NE(found, std::string::npos) << "GDB did not print \"" << text << "\":\n" << gdb.out;
        at = found + text.size();
    }

    // Ctrl-C stops the machine the client let run; the stop reply names SIGINT.
    ASSERT_EQ(ReadLine(runner), "gdb: waiting for a client\n");
    RawClient client(port);
    ASSERT_GE(client.fd, 0);
    client.Send("$c#63");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    client.Send("\x03");
    EXPECT_NE(client.ReadUntil("#").find("$T02"), std::string::npos);
    client.Send("+$D#44");
    EXPECT_NE(client.ReadUntil("$OK#9a").find("$OK#9a"), std::string::npos);

    // After the detach the machine runs on, and the monitor told of both clients.
    std::string rest;
    for (std::string line; !(line = ReadLine(runner)).empty();) rest += line;
    EXPECT_EQ(pclose(runner), 0) << rest;
    EXPECT_NE(rest.find("RUNNING"), std::string::npos) << rest;
    EXPECT_NE(rest.find("Remote debugger detached."), std::string::npos) << rest;
    EXPECT_EQ(rest.find("GDB attached"), std::string::npos) << rest;
}

}  // namespace
