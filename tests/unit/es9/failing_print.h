// Makes vsnprintf fail for one format, which no input can bring about (the linker's --wrap).
#pragma once
#include <string>

class failing_print {
  public:
    failing_print(std::string format, int nth); // nth call with that format; 1 is the next one
    ~failing_print();
    failing_print(const failing_print &) = delete;
    failing_print &operator=(const failing_print &) = delete;
};
