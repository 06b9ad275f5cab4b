// Captures what the process writes to standard output while the object exists.
#ifndef CAPTURED_OUTPUT_H
#define CAPTURED_OUTPUT_H

#include <string>

namespace support {

class CapturedOutput {
  public:
    CapturedOutput();
    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;
    ~CapturedOutput();

    // What the process has written so far. Does not flush: text that is still in a
    // buffer is missing.
    std::string text() const;

  private:
    int file_;
    int saved_;
};

} // namespace support

#endif
