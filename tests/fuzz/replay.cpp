// Runs a target on generated inputs and on files, with any compiler and without a fuzzer.
#include "targets.h"

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<std::uint8_t>;

#define ROW(target) std::make_pair(#target, &fuzz::target)

const std::map<std::string, fuzz::Target> targets = {
    ROW(evpn_reply),    ROW(info_reply),        ROW(neighbor_reply), ROW(summary_reply),
    ROW(large_reply),   ROW(reply_reader),      ROW(as_change),      ROW(globle_change),
    ROW(family_change), ROW(vrf_family_change), ROW(daemon_message),
};

// An input of up to 400 bytes, the same for the same number on every machine. In each table that an
// input selects from, zero is the valid choice: the more zeros, the fewer faults.
Bytes generated(std::uint32_t number) {
    std::minstd_rand engine(number + 1);
    const auto random = [&] { return static_cast<std::uint32_t>(engine()); };
    const std::uint32_t zeros = random() % 100; // percent
    const std::uint32_t largest = random() % 3 == 0 ? 256 : 32;
    Bytes input(1 + random() % 400);
    for (std::uint8_t &byte : input) {
        const std::uint32_t other = random() % largest;
        byte = static_cast<std::uint8_t>(random() % 100 < zeros ? 0 : other);
    }
    return input;
}

// The files at `path`, in the order of their names.
std::vector<fs::path> files_of(const fs::path &path) {
    if (!fs::is_directory(path)) {
        return {path};
    }
    std::vector<fs::path> files{fs::directory_iterator(path), {}};
    std::sort(files.begin(), files.end());
    return files;
}

Bytes bytes_of(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    stream.exceptions(std::ios::badbit | std::ios::failbit);
    // A copy of exactly this size, so that a sanitizer detects a read past its end.
    return {std::istreambuf_iterator<char>(stream), {}};
}

void write_generated(const fs::path &directory, std::uint32_t count) {
    fs::create_directories(directory);
    for (std::uint32_t i = 0; i < count; ++i) {
        const Bytes input = generated(i);
        std::ofstream(directory / fmt::format("generated_{:05}", i), std::ios::binary)
            .write(reinterpret_cast<const char *>(input.data()),
                   static_cast<std::streamsize>(input.size()));
    }
}

} // namespace

int main(int argc, char **argv) try {
    CLI::App app("Runs a fuzz target on generated inputs and on files.");
    std::string name;
    std::uint32_t count = 0;
    std::vector<std::string> paths;
    std::string directory;
    app.add_option("TARGET", name, "what to run")->required()->check(CLI::IsMember(targets));
    app.add_option("FILE", paths, "inputs, or directories of them")->check(CLI::ExistingPath);
    app.add_option("--generated", count, "this many generated inputs");
    app.add_option("--write", directory, "write the generated inputs here and run nothing");
    CLI11_PARSE(app, argc, argv);
    if (!directory.empty()) {
        write_generated(directory, count);
        return 0;
    }
    const fuzz::Target target = targets.at(name);
    fuzz::prepare();
    for (std::uint32_t i = 0; i < count; ++i) {
        fmt::print(stderr, "generated {}\r", i);
        const Bytes input = generated(i);
        target(input.data(), input.size());
    }
    for (const std::string &path : paths) {
        for (const fs::path &file : files_of(path)) {
            fmt::print(stderr, "{}\n", file.string());
            const Bytes input = bytes_of(file);
            target(input.data(), input.size());
        }
    }
    fmt::print(stderr, "{} generated inputs and the files replayed\n", count);
    return 0;
} catch (const std::exception &error) {
    fmt::print(stderr, "fuzz_replay: {}\n", error.what());
    return 1;
}
