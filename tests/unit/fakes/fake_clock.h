// Replaces sleep: pauses are recorded, nobody waits.
#pragma once
#include <vector>

extern std::vector<unsigned> pauses; // seconds, in order; tests clear it themselves
