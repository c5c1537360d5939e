#include <vector>

std::vector<unsigned> pauses;

extern "C" __attribute__((visibility("default"))) unsigned sleep(unsigned seconds)
{
    pauses.push_back(seconds);
    return 0;
}
