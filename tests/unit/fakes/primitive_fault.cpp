#include "unit/fakes/primitive_fault.h"

namespace {
const char *failing = nullptr;
int calls_left = 0;
int32_t chosen = 0;
bool happened = false;
} // namespace

primitive_fault::primitive_fault(const char *primitive, int nth, int32_t result)
{
    failing = primitive;
    calls_left = nth;
    chosen = result;
    happened = false;
}

primitive_fault::~primitive_fault() { failing = nullptr; }

bool primitive_fault::reached() { return happened; }

bool primitive_fault::takes_place(std::string_view primitive)
{
    if (!failing || primitive != failing || calls_left == 0 || --calls_left > 0) return false;
    happened = true;
    return true;
}

int32_t primitive_fault::result() { return chosen; }
