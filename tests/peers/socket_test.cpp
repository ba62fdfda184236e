// Class SOCKET: the program runs a script against a server that the test plays.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

// Listens on a port of its own; its side of the talk runs beside the test, and
// the connections end with it.
class Peer {
  public:
    explicit Peer(std::function<void(Peer &)> talk) : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto *plain = reinterpret_cast<sockaddr *>(&address);
        socklen_t size = sizeof address;
        if (bind(listener_, plain, size) || listen(listener_, 300) || getsockname(listener_, plain, &size))
            std::abort();
        port = std::to_string(ntohs(address.sin_port));
        thread_ = std::thread([this, talk] {
            talk(*this);
            for (const int connection : connections_) close(connection);
        });
    }
    ~Peer() {
        shutdown(listener_, SHUT_RDWR); // ends a waiting accept
        thread_.join();
        close(listener_);
    }
    bool answer() {
        connections_.push_back(accept(listener_, nullptr, nullptr));
        return connections_.back() >= 0;
    }
    void say(std::string_view text) const {
        for (ssize_t n; !text.empty(); text.remove_prefix(static_cast<size_t>(n))) {
            n = send(connections_.back(), text.data(), text.size(), MSG_NOSIGNAL);
            if (n <= 0) return;
        }
    }
    std::string hear_all() const {
        std::string all(1 << 16, '\0');
        size_t end = 0;
        for (ssize_t n; (n = recv(connections_.back(), &all[end], all.size() - end, 0)) > 0;) {
            end += static_cast<size_t>(n);
            all.resize(end + (1 << 16));
        }
        return all.substr(0, end);
    }

    std::string port;

  private:
    int listener_;
    std::vector<int> connections_;
    std::thread thread_;
};

const char PROCEDURES[] = R"(
PROCEDURE OPEN
  IF 'localhost' OPT.port TO_INT SOCKET.OPEN THEN => VAR.S ELSE DISPLAY 'not open' END_IF
END_PROCEDURE
PROCEDURE LINE
  IF VAR.S SOCKET.READLN_STRING THEN DUP LEN DISPLAY $,' ',$ ELSE DISPLAY 'no line' END_IF
END_PROCEDURE
PROCEDURE BYTE IF VAR.S SOCKET.READ_BYTE THEN DISPLAY 'byte ',$ ELSE DISPLAY 'no byte' END_IF END_PROCEDURE
PROCEDURE BLOB
  => LOCAL.SIZE
  IF VAR.S LOCAL.SIZE SOCKET.READ_BLOB THEN
    DUP BLOB_TO_HEXSTRING SWAP BLOB_GET_SIZE => LOCAL.N
    IF LOCAL.N > 9 THEN POP '...' END_IF
    DISPLAY 'blob ',LOCAL.N,' ',$
  ELSE DISPLAY 'no blob' END_IF
END_PROCEDURE
)";

using Result = std::pair<int, std::string>; // the status and the output

// A run that takes longer is ended by a signal: 124.
Result run(const std::string &script, const std::string &port, int seconds = 60) {
    const std::string file = testing::TempDir() + "socket_test_" + std::to_string(getpid()) + ".qor";
    std::ofstream(file) << PROCEDURES << script << '\n';
    const std::string command =
        "timeout -k 5 " + std::to_string(seconds) + " " QOR " -cgi -script " + file + " -port " + port;
    FILE *program = popen(command.c_str(), "r");
    std::string output;
    char block[65536];
    for (size_t n; (n = fread(block, 1, sizeof block, program)) > 0;) output.append(block, n);
    const int status = WEXITSTATUS(pclose(program));
    std::remove(file.c_str());
    return {status, output};
}

TEST(Socket, ReadsWhatComesInPieces) {
    const std::string x(99999, 'x'), y(100000, 'y'), blob(300000, 'z');
    const std::string all =
        "abc\r\n\n" + std::string("cut\0off\n", 8) + x + "\n" + y + "rest\nA\xff" + "xyz" + blob + "tail";
    Peer peer([&](Peer &p) {
        p.answer();
        // Byte by byte, then in blocks that fit nothing.
        for (size_t at = 0, n = 1; at < all.size(); at += n, n = at < 20 ? 1 : 7777) {
            p.say(std::string_view(all).substr(at, n));
            usleep(300);
        }
    });
    EXPECT_EQ(run("OPEN LINE LINE LINE LINE LINE LINE BYTE BYTE 3 BLOB 0 BLOB 300000 BLOB\n"
                  "LINE LINE BYTE 1 BLOB -1 BLOB VAR.S SOCKET.CLOSE",
                  peer.port),
              Result(0, "4 abc\r\n0 \n3 cut\n99999 " + x +
                            "\nno line\n4 rest\nbyte 65\nbyte 255\nblob 3 78797A\nblob 0 NULL\nblob 300000 ...\n"
                            "4 tail\nno line\nno byte\nno blob\nblob 0 NULL\n"));
}

// Storage for a blob must not be taken on the script's word.
TEST(Socket, BlobsThatDoNotCome) {
    Peer peer([](Peer &p) {
        p.answer();
        p.say("12345");
    });
    EXPECT_EQ(run("OPEN 2000000000 BLOB", peer.port), Result(0, "no blob\n"));
    Peer full([](Peer &p) {
        p.answer();
        p.say(std::string(10054, 'x'));
        p.hear_all();
    });
    EXPECT_EQ(run("OPEN 10054 BLOB VAR.S SOCKET.CLOSE", full.port), Result(0, "no blob\n"));
}

TEST(Socket, WritesEverythingToASlowPeer) {
    std::string heard;
    {
        Peer peer([&](Peer &p) {
            p.answer();
            usleep(100000); // what is sent does not fit on the way
            heard = p.hear_all();
        });
        const Result result = run("OPEN VAR.S 'ab' SOCKET.WRITE_STRING VAR.S 'line' SOCKET.WRITELN_STRING\n"
                                  "VAR.S 321 SOCKET.WRITE_BYTE VAR.S '' SOCKET.WRITELN_STRING\n"
                                  "'0123456789abcdef' => VAR.T 0 => VAR.N\n"
                                  "WHILE VAR.N < 20 DO &VAR.T VAR.T APP POP VAR.N 1 + => VAR.N END_WHILE\n"
                                  "VAR.S VAR.T SOCKET.WRITE_STRING VAR.S SOCKET.CLOSE QORCPU.ASSERT_STACK_EMPTY",
                                  peer.port);
        EXPECT_EQ(result, Result(0, ""));
    }
    std::string expected = "0123456789abcdef";
    for (int n = 0; n < 20; ++n) expected += std::string(expected);
    EXPECT_TRUE(heard == "abline\nA\n" + expected) << heard.size();
}

TEST(Socket, APeerThatIsGoneRaisesNoSignal) {
    Peer peer([](Peer &p) { p.answer(); });
    const char *line = "VAR.S 'a' SOCKET.WRITELN_STRING ";
    EXPECT_EQ(run(std::string("OPEN LINE ") + line + line + line + "LINE DISPLAY 'alive'", peer.port),
              Result(0, "no line\nno line\nalive\n"));
}

TEST(Socket, Misuse) {
    const auto [status, output] =
        run("IF 'no-such-host.invalid' 80 SOCKET.OPEN THEN DISPLAY 'open' END_IF\n"
            "OPEN -1 => VAR.S BYTE LINE 1 BLOB VAR.S 65 SOCKET.WRITE_BYTE VAR.S SOCKET.CLOSE\n"
            "254 => VAR.S BYTE LINE 1 BLOB VAR.S 'x' SOCKET.WRITE_STRING VAR.S SOCKET.CLOSE\n"
            "QORCPU.ASSERT_STACK_EMPTY 255 SOCKET.CLOSE",
            "70000");
    const std::string expected = "not open\n"
                                 "*** ERROR *** SOCKET(READ_BYTE) attempt to read from a closed file\nno byte\n"
                                 "*** ERROR *** SOCKET(READLN_STRING) attempt to read from a closed file\nno line\n"
                                 "*** ERROR *** SOCKET(READ_BLOB) attempt to read from a closed file\nno blob\n"
                                 "*** ERROR *** SOCKET(WRITE_BYTE) attempt to write a closed socket\n"
                                 "*** ERROR *** SOCKET(CLOSE) attempt to close a closed socket\n"
                                 "byte 0\nno line\nno blob\n" // kept: the platform's error counts as a byte
                                 "*** ERROR *** SOCKET(WRITE_STRING) attempt to write a closed socket\n"
                                 "*** ABORT *** SOCKET(CLOSE) invalid socketid 255\n";
    EXPECT_EQ(output.substr(0, expected.size()), expected);
    EXPECT_EQ(status, 3);
}

TEST(Socket, TheTableIsFull) {
    Peer peer([](Peer &p) {
        while (p.answer()) {}
    });
    const auto [status, output] = run("WHILE TRUE DO OPEN DISPLAY VAR.S END_WHILE", peer.port);
    const char *head = "253\n254\n###################################\nMAX_OPEN_SOCKETS   =255\n0: s=";
    const char *tail = " server=0\n*** ERROR *** SOCKET(OPEN) attempt to open more than 255 sockets\n";
    for (const char *part : {head, "\n254: s=", tail}) EXPECT_NE(output.find(part), std::string::npos) << part;
    EXPECT_EQ(status, 3);
}

TEST(Socket, ASignalEndsAWait) {
    Peer peer([](Peer &p) {
        p.answer();
        p.hear_all();
    });
    EXPECT_EQ(run("OPEN DISPLAY 'waits' LINE", peer.port, 1), Result(124, "waits\n")) << "shown before the wait";
}

} // namespace
