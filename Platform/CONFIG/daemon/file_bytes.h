// Reads whole files.
#ifndef CONFIGD_FILE_BYTES_H
#define CONFIGD_FILE_BYTES_H

#include <string>

namespace configd {

// All bytes of the file, 64 MiB at most. Throws std::system_error with the file's name.
std::string read_file(const std::string &file);

} // namespace configd

#endif
