#include "unit/fakes/fake_factory.h"
extern "C" {
#include <lmnfinfo.h>
}

fake_factory_type fake_factory;

extern "C" {
const char *lmnfinfo_get_profile(int index)
{
    const auto position = static_cast<size_t>(index);
    return index >= 0 && position < fake_factory.profiles.size() ? fake_factory.profiles[position].c_str() : nullptr;
}

const char *lmnfinfo_get_boot_profile(void)
{
    return fake_factory.boot_profile ? fake_factory.boot_profile->c_str() : nullptr;
}
}
