// Makes the n-th vsnprintf whose format holds a given text fail while the object lives.
#pragma once
#include <string>

class failing_format {
  public:
    failing_format(const std::string &part_of_format, int nth); // 1 is the next one
    ~failing_format();
    static bool reached(); // the n-th formatting took place (and failed)
};
