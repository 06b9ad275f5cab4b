// A BGP speaker: FRRouting's bgpd with its own address, directory and configuration.
#ifndef FRR_TEST_SPEAKER_H
#define FRR_TEST_SPEAKER_H

#include "frr/vty.h"

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

// It needs neither root nor zebra nor the kernel's routing table. Port 1790 of the loopback address
// must be free, so each test program has its own network.
class Speaker {
  public:
    static constexpr int port = 1790;

    // Whether this machine has bgpd.
    static bool is_installed();

    // Starts a speaker that listens on the address. Throws std::runtime_error when it does not
    // start.
    explicit Speaker(std::string address = "127.0.0.1");
    Speaker(const Speaker &) = delete;
    Speaker &operator=(const Speaker &) = delete;
    ~Speaker();

    // stop() ends it. start() starts it again in the same place, without its configuration.
    void stop();
    void start();

    pid_t pid() const { return pid_; }
    std::string vty_socket() const { return directory_ / "bgpd.vty"; }

    configd::frr::VtyAnswer ask(const std::string &command);

    // Enters the lines in configuration mode. Throws std::runtime_error with the first line that
    // bgpd refuses.
    void configure(const std::vector<std::string> &lines);

    // The text of `show running-config`.
    std::string running_config();

    // Whether the running configuration contains this line, without its indentation.
    bool has_line(const std::string &line);

  private:
    std::string address_;
    std::filesystem::path directory_;
    configd::frr::Vty vty_;
    pid_t pid_ = 0;
};

// Skips the test where bgpd is not installed.
#define REQUIRE_BGPD()                                                                             \
    if (!Speaker::is_installed())                                                                  \
    GTEST_SKIP() << "bgpd is not installed (Debian package frr)"

#endif
