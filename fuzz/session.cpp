// Whole operations, as a host program calls them. Input: operation (1 byte), two arguments (each until a line end),
// records of scripted_world.h.
#include "fuzz/document_check.h"
#include "fuzz/scripted_world.h"
#include "lpa/lpa.h"
#include "unit/fakes/fake_factory.h"
#include "unit/fakes/fake_modem.h"
#include <cstring>

namespace {
constexpr const char *modem = "modem0";

struct call {
    const exact_text &first;
    const exact_text &second;
    char *json = nullptr;
    uint32_t length = 0;
};

template <auto operation> uint32_t without_argument(call &of) { return operation(modem, &of.json, &of.length); }

template <auto operation> uint32_t with_one(call &of)
{
    return operation(modem, of.first.data(), &of.json, &of.length);
}

template <auto operation> uint32_t with_two(call &of)
{
    return operation(modem, of.first.data(), of.second.data(), &of.json, &of.length);
}

// The arguments are the protected profiles.
uint32_t reset_settings(call &of)
{
    fake_factory.profiles = {of.first.data()};
    fake_factory.boot_profile = of.second.data();
    return LPA__reset_settings(modem);
}

void check_progress(const lpa_progress *progress, void *)
{
    REQUIRE(progress->step <= LPA_PROGRESS__DONE);
    REQUIRE(progress->done <= progress->total);
    REQUIRE(!progress->provider || strlen(progress->provider) <= 128);
    REQUIRE(!progress->name || strlen(progress->name) <= 256);
}

constexpr uint32_t (*operations[])(call &of) = {
    without_argument<LPA__get_eid>,
    without_argument<LPA__get_profiles>,
    without_argument<LPA__get_addresses>,
    without_argument<LPA__get_free_memory>,
    without_argument<LPA__get_notifications>,
    with_one<LPA__set_smdp_address>,
    with_two<LPA__set_profile_nickname>,
    with_one<LPA__enable_profile>,
    with_one<LPA__disable_profile>,
    with_one<LPA__delete_profile>,
    without_argument<LPA__reset_memory>,
    reset_settings,
    without_argument<LPA__process_notifications>,
    with_two<LPA__start_rsp>,
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // The lock files are real ones.
    if (!getenv("LPA_SANDBOX")) {
        fprintf(stderr, "to be run in scripts/sandbox\n");
        exit(2);
    }
    fuzz_input input(data, size);
    const size_t chosen = input.byte() % std::size(operations);
    const exact_text first(input.until("\n"));
    const exact_text second(input.until("\n"));
    scripted_world world(input.rest());
    call of{first, second};
    LPA__set_progress_callback(check_progress, nullptr);
    const uint32_t code = operations[chosen](of);
    REQUIRE(is_result_code(code));
    REQUIRE(of.length == (of.json ? strlen(of.json) + 1 : 0));
    if (of.json) require_json(of.json, world.card_sent_quotes);
    if (getenv("LPA_FUZZ_LOG")) fprintf(stderr, "result %u %s\n", code, of.json ? of.json : "");
    M_free(of.json);
    world.require_released();
    return 0;
}
