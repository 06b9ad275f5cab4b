#include "frr/vty.h"

#include "speaker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

using configd::FileDescriptor;
using configd::frr::Vty;
using configd::frr::VtyAnswer;
using testing::ElementsAre;
using testing::HasSubstr;
using namespace std::chrono_literals;
using namespace std::string_literals;

namespace {

const std::string ok{"\0\0\0\0", 4};

// The pieces in which bgpd sends its answer to one line.
using Script = std::vector<std::string>;

// Instead of a piece: sends nothing more until the client closes the connection.
const std::string silence = "silence";

// Listens in place of bgpd and answers one session after the other from its scripts. A script has
// the answers to the lines after `enable`; the session ends with its script.
class ScriptedBgpd {
  public:
    explicit ScriptedBgpd(std::vector<std::vector<Script>> sessions)
        : listener_{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)} {
        std::string name = (std::filesystem::temp_directory_path() / "vty_test_XXXXXX").string();
        directory_ = ::mkdtemp(name.data());
        address_.sun_family = AF_UNIX;
        path().copy(address_.sun_path, sizeof address_.sun_path - 1);
        if (::bind(listener_.get(), reinterpret_cast<sockaddr *>(&address_), sizeof address_) !=
                0 ||
            ::listen(listener_.get(), 5) != 0) {
            throw std::runtime_error("cannot listen on " + path());
        }
        thread_ = std::thread{[this, sessions = std::move(sessions)] {
            for (const auto &session : sessions) {
                serve(session);
            }
        }};
    }
    ScriptedBgpd(const ScriptedBgpd &) = delete;
    ScriptedBgpd &operator=(const ScriptedBgpd &) = delete;
    ~ScriptedBgpd() {
        finish();
        std::filesystem::remove_all(directory_);
    }

    std::string path() const { return directory_ / "bgpd.vty"; }

    // A connection that waits to be accepted; without a descriptor if too many wait.
    FileDescriptor waiting() {
        FileDescriptor socket{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)};
        const bool waits =
            ::connect(socket.get(), reinterpret_cast<sockaddr *>(&address_), sizeof address_) == 0;
        return waits ? std::move(socket) : FileDescriptor{};
    }

    // Waits for the end of the last session. Returns the lines received.
    std::vector<std::string> finish() {
        if (thread_.joinable()) {
            thread_.join();
        }
        return lines_;
    }

  private:
    void serve(const std::vector<Script> &session) {
        const FileDescriptor client{::accept(listener_.get(), nullptr, nullptr)};
        receive_line(client.get());
        ::send(client.get(), ok.data(), ok.size(), MSG_NOSIGNAL);
        for (const Script &pieces : session) {
            receive_line(client.get());
            for (const std::string &piece : pieces) {
                if (piece == silence) {
                    receive_line(client.get());
                    return;
                }
                ::send(client.get(), piece.data(), piece.size(), MSG_NOSIGNAL);
                // Waits until the client has read the piece, so that the next one arrives alone.
                while (unread(client.get()) > 0) {
                    std::this_thread::yield();
                }
            }
        }
    }

    static int unread(int socket) {
        int bytes = 0;
        return ::ioctl(socket, SIOCOUTQ, &bytes) == 0 ? bytes : 0;
    }

    void receive_line(int socket) {
        std::string line;
        for (char c = 0; ::recv(socket, &c, 1, 0) == 1 && c != '\0';) {
            line += c;
        }
        lines_.push_back(line);
    }

    std::filesystem::path directory_;
    sockaddr_un address_{};
    FileDescriptor listener_;
    std::vector<std::string> lines_;
    std::thread thread_;
};

VtyAnswer answer_to_one_line(const Script &pieces) {
    ScriptedBgpd bgpd{{{pieces}}};
    return Vty{bgpd.path()}.ask("show version");
}

TEST(Vty, SendsEachLineWithANulOnceTheSessionIsEnabled) {
    ScriptedBgpd bgpd{{{{ok}, {ok}}}};
    Vty vty{bgpd.path()};
    EXPECT_EQ(vty.ask("configure terminal").status, 0);
    EXPECT_EQ(vty.ask("router bgp 100").status, 0);
    EXPECT_THAT(bgpd.finish(), ElementsAre("enable", "configure terminal", "router bgp 100"));
}

TEST(Vty, ReturnsTextAndStatus) {
    const VtyAnswer answer = answer_to_one_line({"% Unknown\n\0\0\0\2"s});
    EXPECT_EQ(answer.text, "% Unknown\n");
    EXPECT_EQ(answer.status, 2);
}

TEST(Vty, JoinsAnAnswerThatArrivesInPieces) {
    const VtyAnswer answer = answer_to_one_line({"fir", "st\0"s, "\0\0"s, "\xd"s});
    EXPECT_EQ(answer.text, "first");
    EXPECT_EQ(answer.status, 13);
}

TEST(Vty, ReturnsALongAnswerWhole) {
    const std::string text(5'000'000, 'x');
    EXPECT_TRUE(answer_to_one_line({text + ok}).text == text);
}

TEST(Vty, ReportsThatNoProcessListens) {
    const VtyAnswer answer = Vty{"/nowhere/bgpd.vty"}.ask("show version");
    EXPECT_EQ(answer.status, VtyAnswer::unreachable);
    EXPECT_THAT(answer.text, HasSubstr("/nowhere/bgpd.vty"));
}

TEST(Vty, RefusesAPathThatNoSocketCanHave) {
    EXPECT_EQ(Vty{std::string(200, 'x')}.ask("end").status, VtyAnswer::unreachable);
}

TEST(Vty, DoesNotRepeatALineWhoseAnswerBrokeOff) {
    ScriptedBgpd bgpd{{{{"half\0\0"s}}, {{ok}}}};
    Vty vty{bgpd.path()};
    EXPECT_EQ(vty.ask("first").status, VtyAnswer::unreachable);
    EXPECT_EQ(vty.ask("second").status, 0);
    EXPECT_THAT(bgpd.finish(), ElementsAre("enable", "first", "enable", "second"));
}

TEST(Vty, StartsOverInANewSessionWhenTheOldOneEnded) {
    ScriptedBgpd bgpd{{{{ok}}, {{ok}}}};
    Vty vty{bgpd.path()};
    EXPECT_EQ(vty.ask("first").status, 0);
    EXPECT_EQ(vty.start_over().status, 0);
    EXPECT_THAT(bgpd.finish(), testing::Contains("end"));
}

TEST(Vty, OpensNoOtherSessionToASilentBgpd) {
    ScriptedBgpd bgpd{{{{ok}, {silence}}, {{ok}}}};
    Vty vty{bgpd.path(), 20ms};
    EXPECT_EQ(vty.ask("first").status, 0);
    EXPECT_EQ(vty.start_over().status, VtyAnswer::unreachable);
    EXPECT_EQ(vty.ask("second").status, 0);
    EXPECT_THAT(bgpd.finish(), ElementsAre("enable", "first", "end", "", "enable", "second"));
}

TEST(Vty, CanBeGivenUpWhileBgpdAcceptsNoSession) {
    ScriptedBgpd bgpd{{}};
    std::vector<FileDescriptor> waiting;
    do {
        waiting.push_back(bgpd.waiting());
    } while (waiting.back().get() >= 0);
    Vty vty{bgpd.path(), 10min};
    VtyAnswer answer;
    std::thread asking{[&] { answer = vty.ask("first"); }};
    vty.give_up();
    asking.join();
    EXPECT_EQ(answer.status, VtyAnswer::unreachable);
}

TEST(Vty, GivesUpOnASilentBgpd) {
    ScriptedBgpd bgpd{{{{"half", silence}}}};
    Vty vty{bgpd.path(), 20ms};
    EXPECT_EQ(vty.ask("show version").status, VtyAnswer::unreachable);
}

class BgpdVty : public testing::Test {
  protected:
    void SetUp() override { REQUIRE_BGPD(); }
};

TEST_F(BgpdVty, AnswersALine) {
    Speaker speaker;
    Vty vty{speaker.vty_socket()};
    EXPECT_THAT(vty.ask("show running-config").text, HasSubstr("frr version"));
    EXPECT_EQ(vty.ask("no such line").status, 2);
    EXPECT_EQ(vty.ask("show bgp").status, 1); // a warning: there is no instance
}

TEST_F(BgpdVty, FindsTheNextBgpdWithoutNoticingTheEndOfTheLast) {
    Speaker speaker;
    Vty vty{speaker.vty_socket()};
    EXPECT_EQ(vty.ask("configure terminal").status, 0);
    speaker.stop();
    speaker.start();
    EXPECT_EQ(vty.start_over().status, 0);
    EXPECT_THAT(vty.ask("show running-config").text, HasSubstr("frr version"));
}

} // namespace
