// The debugger: programs run under a client that the test plays.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <thread>

#include "qor/qor.h"

namespace {

namespace fs = std::filesystem;

const std::string XML = "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?>";
const std::string SPACES = "xmlns=\"urn:debugger_protocol_v1\" xmlns:xdebug=\"https://xdebug.org/dbgp/xdebug\"";

// Listens on a port of its own for one engine.
class Client {
  public:
    Client() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto *plain = reinterpret_cast<sockaddr *>(&address);
        socklen_t size = sizeof address;
        if (bind(listener_, plain, size) || listen(listener_, 1) || getsockname(listener_, plain, &size)) std::abort();
        const timeval patience{30, 0}; // a program that does not connect has failed
        setsockopt(listener_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        name = "localhost:" + std::to_string(ntohs(address.sin_port));
    }
    ~Client() {
        hang_up();
        close(listener_);
    }
    void answer() {
        hang_up();
        engine_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    }
    void hang_up() {
        if (engine_ >= 0) close(engine_);
        engine_ = -1;
    }
    void say(const std::string &request) const {
        send(engine_, request.c_str(), request.size() + 1, MSG_NOSIGNAL); // the zero byte too
    }
    // The document of the next packet; what is no packet as it stands, empty at the end.
    std::string hear() {
        while (!has_packet()) {
            char block[65536];
            const ssize_t n = recv(engine_, block, sizeof block, 0);
            if (n <= 0) return std::exchange(heard_, "");
            heard_.append(block, static_cast<size_t>(n));
            ++receives;
        }
        const size_t begin = heard_.find('\0') + 1, length = std::stoul(heard_);
        const std::string packet = heard_.substr(0, begin + length + 1);
        heard_.erase(0, packet.size());
        const std::string frame = std::to_string(length) + '\0' + XML;
        const bool is_well_formed = packet.starts_with(frame) && packet.back() == '\0';
        return is_well_formed ? packet.substr(frame.size(), packet.size() - frame.size() - 1) : packet;
    }
    std::string ask(const std::string &request) {
        say(request);
        return hear();
    }

    std::string name;
    int receives = 0;

  private:
    bool has_packet() const {
        const size_t zero = heard_.find('\0');
        return zero != std::string::npos && heard_.size() >= zero + 2 + std::stoul(heard_);
    }
    int listener_;
    int engine_ = -1;
    std::string heard_;
};

const char MAIN[] = R"(! line 1
|INCL part.inc
PROCEDURE OUTER
  VAR.N 1 + => VAR.N INNER
  VAR.N 2 + => VAR.N
  VAR.N 3 + => VAR.N
END_PROCEDURE
PROCEDURE LAST_TERMINATE
  DISPLAY 'terminated'
END_PROCEDURE
0 => VAR.N
OUTER
DISPLAY 'n is ',VAR.N
VAR.N 1000 + => VAR.N
)";
const char PART[] = R"(PROCEDURE INNER
  VAR.N 10 + => VAR.N
  VAR.N 100 + => VAR.N
END_PROCEDURE
)";
const char PLAIN_OUTPUT[] = "n is 116\nterminated\n";

class Debugger : public testing::Test {
  protected:
    Debugger() {
        const std::string id = std::to_string(getpid());
        folder_ = testing::TempDir() + "Dbgp \xc3\x84" + id;
        uri_ = "file://" + testing::TempDir() + "Dbgp%20%C3%84" + id + "/";
        fs::create_directory(folder_);
        write("Main.qor", MAIN);
        write("part.inc", PART);
    }
    ~Debugger() override {
        if (pid_ > 0) finish();
        fs::remove_all(folder_);
    }
    void write(const std::string &name, const std::string &text) const { std::ofstream(folder_ / name) << text; }

    // The output goes to a file: it may be more than a pipe holds.
    void start(const std::string &script, const std::string &address) {
        pid_ = fork();
        if (pid_ != 0) return;
        alarm(60); // a run that hangs has failed
        if (chdir(folder_.c_str()) == 0 && std::freopen("output", "w", stdout))
            execl(QOR, "qor", "-cgi", "-script", script.c_str(), "-dbgp", address.c_str(), nullptr);
        _exit(99);
    }
    // Up to the first packet.
    std::string attach(const std::string &script = "Main.qor") {
        start(script, client.name);
        client.answer();
        return client.hear();
    }
    // What the program itself has shown, and its status.
    std::string finish() {
        waitpid(std::exchange(pid_, -1), &status, 0);
        std::ifstream file(folder_ / "output");
        std::string own;
        shown.clear();
        for (std::string line; std::getline(file, line); shown += line + '\n') {
            if (!line.starts_with("DBGp: ") && !line.starts_with(">>> ") && !line.starts_with("<<< "))
                own += line + '\n';
        }
        return own;
    }
    static std::string reply(const std::string &attributes, const std::string &command, int id,
                             const std::string &body = "/>") {
        return "<response " + SPACES + attributes + " command=\"" + command + "\" transaction_id=\"" +
               std::to_string(id) + "\"" + body;
    }
    static std::string enabled(const std::string &line, int id) {
        return reply(" id=\"" + line + "\" state=\"enabled\"", "breakpoint_set", id);
    }
    std::string place(const std::string &file, int line) const {
        return "filename=\"" + uri_ + file + "\" lineno=\"" + std::to_string(line) + "\"/></response>";
    }
    std::string stop(const std::string &status_word, const std::string &command, int id, const std::string &file,
                     int line) const {
        return reply(" status=\"" + status_word + "\" reason=\"ok\"", command, id,
                     "><xdebug:message " + place(file, line));
    }
    // Sends each with the next number; the program must stop there.
    struct Step {
        std::string command, file;
        int line;
        std::string word = "break";
    };
    void steps(int id, const std::vector<Step> &all) {
        for (const auto &[command, file, line, word] : all) {
            EXPECT_EQ(client.ask(command + " -i " + std::to_string(id)), stop(word, command, id, file, line));
            ++id;
        }
    }
    std::string set(int id, const std::string &file, int line) {
        return client.ask("breakpoint_set -i " + std::to_string(id) + " -t line -f " + uri_ + file + " -n " +
                          std::to_string(line));
    }

    Client client;
    int status = -1;
    std::string shown;
    pid_t pid_ = -1;
    fs::path folder_;
    std::string uri_; // its own
};

TEST_F(Debugger, FirstPacketAndSimpleReplies) {
    EXPECT_EQ(attach(),
              "<init " + SPACES + " fileuri=\"" + uri_ +
                  "Main.qor\" language=\"PHP\" protocol_version=\"1.0\" appid=\"160\" idekey=\"20481632647296\">"
                  "<engine version=\"1.0.0\">XDebug for QorScript</engine><author>Brantor</author>"
                  "<url>https://qorscript.example</url><copyright>Copyright (c) 2007 by Brantor</copyright></init>");
    EXPECT_EQ(client.receives, 1); // one send
    EXPECT_EQ(client.ask("status -i 1"), reply(" status=\"starting\" reason=\"ok\"", "status", 1));
    EXPECT_EQ(client.ask("feature_set -i 2 -n show_hidden -v 1"),
              reply(" feature=\"max_depth\" success=\"1\"", "feature_set", 2));
    EXPECT_EQ(client.ask("feature_get -i 3 -n encoding"), reply(" supported=\"0\"", "feature_get", 3));
    // Nothing is escaped.
    for (const std::string command : {"breakpoint_list", "detach", "typemap_get", "no_command", "q\"<&"})
        EXPECT_EQ(client.ask(command + " -i 4"), reply("", command, 4));
    EXPECT_EQ(client.ask("detach"), reply("", "detach", 4)); // the number of before
    EXPECT_EQ(client.ask("stack_get -i 5"),
              reply("", "stack_get", 5, "><stack where=\"{main}\" level=\"0\" type=\"file\" " + place("Main.qor", 11)));
    EXPECT_EQ(client.ask("source -i 6 -f " + uri_ + "part.inc"),
              reply(" encoding=\"base64\"", "source", 6,
                    ">UFJPQ0VEVVJFIElOTkVSCiAgVkFSLk4gMTAgKyA9PiBWQVIuTgogIFZBUi5OIDEwMCArID0+IFZBUi5OCkVORF9QUk9DRURV"
                    "UkUK</response>"));
    steps(7, {{"run", "Main.qor", 14, "stopped"}});
    EXPECT_EQ(client.hear(), "");
    EXPECT_EQ(finish(),
              "unsupported command no_command -i 4\nunsupported command q\"<& -i 4\n" + std::string(PLAIN_OUTPUT));
    EXPECT_EQ(status, 0);
}

TEST_F(Debugger, TakesRequestsApart) {
    attach();
    const auto named = [](const std::string &name, const std::string &type, const std::string &text, int id) {
        return reply("", "property_get", id,
                     "><property name=\"" + name + "\" fullname=\"" + name + "\" type=\"" + type +
                         "\" classname=\"none\" size=\"100\" key=\"" + name +
                         "\" constant=\"0\" children=\"0\" numchildren=\"0\" encoding=\"none\">" + text +
                         "</property></response>");
    };
    const std::string none = reply("", "property_get", 1, "></response>");
    EXPECT_EQ(client.ask("property_get -i 1 -n VAR.NO"), none);
    EXPECT_EQ(client.ask("property_get -n \"OPT.script\" -i 2"), named("OPT.script", "string", "Main.qor", 2));
    // An argument stays; one whose quote is not closed is lost.
    for (const char *tail : {" --n- OPT.cgi -i 1", "", " -n \"OPT.script", " -n"})
        EXPECT_EQ(client.ask(std::string("property_get") + tail), named("OPT.cgi", "string", "", 1)) << tail;
    EXPECT_EQ(client.ask("property_get -n OPT.script\""), none); // the last character belongs to the value
    EXPECT_EQ(client.ask("property_get -n  -i 1"), none);        // an empty value
    EXPECT_EQ(client.ask("property_get -n \"a b\" -f " + uri_ + "MAIN.QOR"), none);
    EXPECT_EQ(client.ask("breakpoint_set -n 13"), enabled("13", 1)); // in the file of before
    EXPECT_EQ(client.ask("breakpoint_set -f " + uri_ + "%50art.inc -n 99999999999999999999"),
              enabled("99999999999999999999", 1));
    EXPECT_EQ(client.ask("breakpoint_set -f file:///x/other.qor -n 1"),
              reply(" state=\"disabled\"", "breakpoint_set", 1));
    EXPECT_EQ(client.ask(std::string(1023, 'x')), reply("", std::string(1023, 'x'), 1));
    EXPECT_EQ(client.ask("run"), stop("break", "run", 1, "Main.qor", 13));
    EXPECT_EQ(client.ask(std::string(1024, 'x')), ""); // too long: as if the client was gone
    EXPECT_EQ(finish(), "unsupported command " + std::string(1023, 'x') + "\nterminated\n");
    EXPECT_EQ(status, 0);
}

TEST_F(Debugger, StopsInCalls) {
    attach();
    EXPECT_EQ(set(1, "Main.qor", 4), enabled("4", 1));
    EXPECT_EQ(set(2, "part.inc", 2), enabled("2", 2));
    steps(3, {{"run", "Main.qor", 4}});
    client.say("stop -i 4"); // neither ends a call nor is answered
    client.say("context_get -i 4");
    steps(5, {{"step_over", "part.inc", 2}, {"step_over", "part.inc", 3}});
    EXPECT_NE(client.ask("property_get -i 7 -n VAR.N").find(">11</property>"), std::string::npos);
    // The callee's loop ends; the caller's was left with a step over from line 4.
    steps(8, {{"step_over", "part.inc", 4}, {"step_over", "Main.qor", 5}, {"run", "Main.qor", 14, "stopped"}});
    EXPECT_EQ(finish(), PLAIN_OUTPUT);
}

TEST_F(Debugger, StepsThroughTheMainProgram) {
    attach();
    // Stepping into no call stays; stepping over is one instruction.
    steps(1, {{"step_into", "Main.qor", 11}, {"step_over", "Main.qor", 11}, {"step_over", "Main.qor", 12}});
    steps(4, {{"step_into", "Main.qor", 4}});
    for (int i = 0; i < 12; ++i) client.ask("step_over -i 5"); // lines 4 with its call, 5 and 6 but for one
    steps(6, {{"step_over", "Main.qor", 7}, {"step_over", "Main.qor", 13}});
    for (int i = 0; i < 5; ++i) client.ask("step_over -i 8");
    steps(9, {{"step_over", "Main.qor", 14}, {"step_over", "Main.qor", 14, "stop"}});
    EXPECT_EQ(client.hear(), "");
    EXPECT_EQ(finish(), "METHOD PROCEDURES.OUTER\n" + std::string(PLAIN_OUTPUT)); // what is entered is shown
}

TEST_F(Debugger, ChangesBreakpointsOfTheMainScriptAlone) {
    attach();
    for (const int line : {5, 6, 13}) set(1, "Main.qor", line);
    set(1, "part.inc", 3);
    EXPECT_EQ(client.ask("breakpoint_update -i 2 -d 5 -s disabled"),
              reply(" id=\"5\" state=\"disabled\"", "breakpoint_update", 2));
    EXPECT_EQ(client.ask("breakpoint_remove -i 3 -d 6"), reply(" id=\"6\" state=\"disabled\"", "breakpoint_remove", 3));
    client.ask("breakpoint_update -i 4 -d 6 -s enabled");
    client.ask("breakpoint_remove -i 5 -d 3"); // stays: it is the include's
    steps(6, {{"run", "part.inc", 3}, {"run", "Main.qor", 6}});
    // Stepping into is nothing here, and the late answer goes to the last request.
    steps(8, {{"step_into", "Main.qor", 13}, {"run", "Main.qor", 14, "stopped"}});
    EXPECT_EQ(finish(), PLAIN_OUTPUT);
}

TEST_F(Debugger, EndsOfASession) {
    for (const char *request : {"context_get -i 1", "stop", ""}) {
        attach();
        EXPECT_EQ(client.ask(request), "");
        EXPECT_EQ(finish(), "terminated\n") << request; // the program is left where it stood
        EXPECT_EQ(status, 0);
    }
    attach();
    client.hang_up();
    EXPECT_EQ(finish(), "terminated\n");
    attach();
    set(1, "Main.qor", 9);
    EXPECT_EQ(client.ask(""), stop("break", "breakpoint_set", 1, "Main.qor", 9)); // it is still there
    client.hang_up();
    EXPECT_EQ(finish(), "terminated\n");
    attach();
    set(1, "Main.qor", 5);
    client.ask("run -i 2");
    client.hang_up(); // in a call: the program runs on
    EXPECT_EQ(finish(), PLAIN_OUTPUT);
    attach();
    EXPECT_EQ(client.ask("source -i 1 -f file:///no%20where"), "");
    EXPECT_NE(finish().find("file /no where not found\n"), std::string::npos);
    EXPECT_EQ(status, 3 << 8);
    write("halt.qor", "PROCEDURE P\n  HALT\nEND_PROCEDURE\nP\n");
    attach("halt.qor");
    EXPECT_EQ(client.ask("run -i 1"), "");
    finish();
    EXPECT_EQ(status, 3 << 8);
    attach();
    kill(pid_, SIGTERM);
    finish();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}

TEST_F(Debugger, RunsWithoutAClient) {
    for (const char *address : {"localhost:1", "localhost:-1", "localhost:99999999999", "no.host.invalid:x"}) {
        start("Main.qor", address);
        EXPECT_EQ(finish(), "*** ERROR *** SOCKET(PUT) attempt to write a closed socket\n" + std::string(PLAIN_OUTPUT));
        EXPECT_EQ(status, 0);
    }
    EXPECT_TRUE(shown.starts_with("DBGp: connecting to client no.host.invalid:9000 ...\n>>> do_init()\n")) << shown;
    EXPECT_NE(shown.find("<<< do_init()\nDBGp: unable to connect to client no.host.invalid:9000\n"), std::string::npos);
}

// Showing a request runs the script's class MESSAGE, which must not stop for that.
TEST_F(Debugger, StopsInTheClassThatShowsItsOwnMessages) {
    write("message.qor", "CLASS MESSAGE\n  METHOD DISPLAY\n    NATIVE.MESSAGE.DISPLAY\n  END_METHOD\nEND_CLASS\n"
                         "DISPLAY 'one'\nDISPLAY 'two'\n");
    attach("message.qor");
    set(1, "message.qor", 3);
    steps(2, {{"run", "message.qor", 3}, {"run", "message.qor", 3}, {"run", "message.qor", 7, "stopped"}});
    EXPECT_EQ(finish(), "one\ntwo\n");
}

TEST_F(Debugger, SurvivesNonsense) {
    std::istringstream text("breakpoint_set breakpoint_remove breakpoint_update property_get step_over step_into run "
                            "stack_get status -i -f -n -d -s \" - VAR.N ROOT DEFAULT -1 4294967297 5 file: % \xff");
    std::vector<std::string> words{std::istream_iterator<std::string>(text), {}};
    words.insert(words.end(), {" ", uri_ + "Main.qor"});
    std::mt19937 random(7);
    const auto any = [&](size_t n) { return random() % n; };
    for (int session = 0; session < 30; ++session) {
        attach();
        std::string heard = "-";
        for (int i = 0; i < 60 && !heard.empty(); ++i) {
            std::string request = words[any(9)];
            for (size_t n = any(12); n > 0; --n) request += (any(3) ? " " : "") + words[any(words.size())];
            heard = client.ask(request);
        }
        client.hang_up();
        finish();
        EXPECT_TRUE(WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 3)) << shown;
    }
}

// One process: what a session leaves does not reach into the next start.
TEST_F(Debugger, StartsAnew) {
    write("abort.qor", "PROCEDURE P\n  1 => VAR.A\nEND_PROCEDURE\nP\nPOP\n");
    const fs::path before = fs::current_path();
    const auto run = [&](const std::string &address) {
        const char *arguments[] = {"qor",       "-cgi",  "-temp_dir",    ".", "-silent", "-script",
                                   "abort.qor", "-dbgp", address.c_str()};
        QORPROC_INIT();
        OPTION_LOAD_OPTIONS(9, arguments);
        const int32_t result = QORPROC_START();
        QORPROC_TERMINATE();
        return result;
    };
    fs::current_path(folder_);
    std::thread player([&] {
        client.answer();
        client.hear();
        EXPECT_EQ(set(1, "abort.qor", 2), enabled("2", 1));
        steps(2, {{"run", "abort.qor", 2}});
        EXPECT_EQ(client.ask("run -i 3"), ""); // aborts
        client.answer();
        client.hear();
        EXPECT_EQ(client.ask("detach"), "<response " + SPACES + " command=\"detach\" transaction_id=\"\"/>");
        EXPECT_EQ(client.ask("run"), "");
    });
    EXPECT_EQ(run(client.name), 3);
    EXPECT_EQ(run(""), 3);
    EXPECT_EQ(run(client.name), 3);
    player.join();
    fs::current_path(before);
}

} // namespace
