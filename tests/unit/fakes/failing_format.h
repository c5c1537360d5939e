// Makes the n-th vsnprintf whose format holds a given text fail while the object lives.
#pragma once
#include <string>

class failing_format {
  public:
    failing_format(const std::string &part_of_format, int nth); // 1 is the next one
    ~failing_format();
    failing_format(const failing_format &) = delete;
    failing_format &operator=(const failing_format &) = delete;
    static bool reached(); // the n-th formatting took place (and failed)
};
