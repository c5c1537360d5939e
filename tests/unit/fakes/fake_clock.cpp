#include "unit/fakes/fake_clock.h"

std::vector<unsigned> pauses;

extern "C" unsigned sleep(unsigned seconds)
{
    pauses.push_back(seconds);
    return 0;
}
