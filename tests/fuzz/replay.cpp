// Runs a target on files, with any compiler and without a fuzzer:
//
//   fuzz_replay TARGET FILE|DIRECTORY ...
#include "targets.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct Row {
    const char *name;
    fuzz::Target run;
};

#define ROW(target)                                                                                \
    { #target, fuzz::target }

const Row rows[] = {
    ROW(evpn_reply),        ROW(info_reply),     ROW(neighbor_reply), ROW(summary_reply),
    ROW(reply_reader),      ROW(as_change),      ROW(globle_change),  ROW(family_change),
    ROW(vrf_family_change), ROW(daemon_message),
};

// The files that `path` stands for, in the order of their names.
std::vector<fs::path> files_of(const fs::path &path) {
    if (!fs::is_directory(path)) {
        return {path};
    }
    std::vector<fs::path> files;
    for (const auto &entry : fs::directory_iterator(path)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool replay(fuzz::Target target, const fs::path &file) {
    std::fprintf(stderr, "%s\n", file.c_str());
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        std::fprintf(stderr, "cannot be read\n");
        return false;
    }
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
    // A copy of its own size: a sanitizer then sees a read behind its end.
    std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    target(input.data(), input.size());
    return true;
}

} // namespace

int main(int argc, char **argv) {
    const auto *row = std::find_if(std::begin(rows), std::end(rows), [&](const Row &known) {
        return argc > 2 && std::strcmp(known.name, argv[1]) == 0;
    });
    if (row == std::end(rows)) {
        std::fprintf(stderr, "usage: fuzz_replay TARGET FILE|DIRECTORY ...\ntargets:");
        for (const Row &known : rows) {
            std::fprintf(stderr, " %s", known.name);
        }
        std::fprintf(stderr, "\n");
        return 2;
    }
    fuzz::prepare();
    std::size_t count = 0;
    for (int i = 2; i < argc; ++i) {
        for (const fs::path &file : files_of(argv[i])) {
            if (!replay(row->run, file)) {
                return 1;
            }
            ++count;
        }
    }
    std::fprintf(stderr, "%zu files replayed\n", count);
    return count == 0 ? 1 : 0;
}
