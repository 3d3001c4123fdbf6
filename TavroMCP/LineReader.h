// Lines of a file descriptor. Memory follows the longest line of the moment: a long line's space is
// given back once it is done.
#pragma once

#include <string>
#include <vector>

class LineReader {
 public:
  explicit LineReader(int descriptor);

  /// Puts the next line, without its line feed, into `line`. A last line may lack the line feed. False
  /// at the end of the input, or when it can't be read any more.
  bool next(std::string& line);

 private:
  bool fill();

  int descriptor_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;  // what is read and not yet given out
  std::size_t end_ = 0;
};
