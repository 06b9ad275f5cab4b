// What the process writes to standard output while an object of this class lives.
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

    // What has left the process so far. Nothing is flushed for it: a text that
    // still waits in a buffer is not there.
    std::string text() const;

  private:
    int file_;
    int saved_;
};

} // namespace support

#endif
