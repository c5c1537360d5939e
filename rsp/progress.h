// rsp/progress.h: tells the host program's callback where an operation stands; internal to the library. It neither
// allocates nor logs: whether somebody listens changes nothing else.
#pragma once
#include "lpa/lpa.h"

void progress__tell(uint32_t step, uint32_t done = 0, uint32_t total = 0);

// Takes provider and name from a profile's metadata (StoreMetadataRequest). What cannot be read stays unknown.
void progress__learn_profile(const uint8_t *metadata, uint32_t length);
void progress__forget_profile();
