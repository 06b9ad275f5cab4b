// wire_tables: updates the tables of the dissector and of docs/protocol.md.
#include "file_bytes.h"
#include "wire/tables.h"

#include <cstdio>
#include <exception>
#include <fstream>
#include <string>

namespace {

void write_file(const std::string &name, const std::string &text) {
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(name);
    file << text;
    file.close();
}

} // namespace

int main(int argc, char **argv) try {
    if (argc != 2) {
        std::fputs("usage: wire_tables SOURCE_DIRECTORY\n", stderr);
        return 2;
    }
    const std::string root = argv[1];
    const std::string document = root + "/docs/protocol.md";
    const std::string header =
        configd::read_file(root + "/Platform/CONFIG/netconf/plugin/netconf_bgp_public.h");
    write_file(document, configd::wire::with_tables(configd::read_file(document), header));
    write_file(root + "/tools/wireshark/orv_bgp_tables.lua", configd::wire::dissector_tables());
    return 0;
} catch (const std::exception &error) {
    std::fprintf(stderr, "wire_tables: %s\n", error.what());
    return 1;
}
