#include "lpa/lpa.h"
#include "lpa/lpa_tlv_to_json.h"
#include "lpa/operation_frame.h"
#include "lpa/profile_changes.h"
#include "lpa/profile_queries.h"
#include "rsp/notification_processing.h"
#include <lmnfinfo.h>
#include <string.h>

namespace {

constexpr const char *name = "LPA__reset_settings";
constexpr uint32_t manufacturing_profiles = 6;
constexpr uint8_t profile_enabled = 1;

struct session {
    ModemHandle *handle;
    uint8_t channel;
};

struct progress {
    uint32_t last_code = RESULT__OK;
    bool failed = false;
    bool changed = false;
};

struct protected_profiles {
    const char *manufacturing[manufacturing_profiles]; // up to the first null
    const char *bootstrap;                             // null when none is set
};

protected_profiles read_protected_profiles()
{
    protected_profiles profiles = {};
    for (uint32_t i = 0; i < manufacturing_profiles; ++i) {
        const char *iccid = lmnfinfo_get_profile((int)i);
        log__string(LOG__INFO, "[%s] MNF profile %d: %s", name, i, iccid ? iccid : "(null)");
        if (!iccid) break;
        profiles.manufacturing[i] = iccid;
    }
    profiles.bootstrap = lmnfinfo_get_boot_profile();
    return profiles;
}

bool is_manufacturing(const protected_profiles &profiles, const char *iccid)
{
    for (const char *candidate : profiles.manufacturing)
        if (candidate && strcmp(candidate, iccid) == 0) return true;
    return false;
}

bool is_bootstrap(const protected_profiles &profiles, const char *iccid)
{
    return profiles.bootstrap && strcmp(profiles.bootstrap, iccid) == 0;
}

void note(progress &progress, uint32_t code)
{
    progress.last_code = code;
    if (code == RESULT__OK) progress.changed = true;
    else progress.failed = true;
}

void remove_profile(const session &session, const LpaProfileRecord &profile, progress &progress)
{
    owned_bytes answer;
    uint32_t length = 0;
    if (profile.state == profile_enabled) { // the card does not delete an enabled profile
        const uint32_t rc =
            LPA__disable_profile_unlocked(session.handle, session.channel, profile.iccid, &answer.data, &length);
        note(progress, rc);
        if (rc != RESULT__OK) {
            log__string(LOG__ERROR, "[%s] LPA__disable_profile_unlocked failed, rc %d", name, rc);
            return;
        }
        answer.reset();
    }
    const uint32_t rc =
        LPA__delete_profile_unlocked(session.handle, session.channel, profile.iccid, &answer.data, &length);
    note(progress, rc);
    if (rc != RESULT__OK) log__string(LOG__ERROR, "[%s] LPA__delete_profile_unlocked failed, rc %d", name, rc);
}

uint32_t read_profiles(const session &session, owned<LpaProfileRecord> &profiles, uint32_t *count)
{
    owned_bytes answer;
    uint32_t length = 0;
    uint32_t rc = LPA__get_profiles_unlocked(session.handle, session.channel, &answer.data, &length);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[%s] LPA__get_profiles_unlocked failed, rc %d", name, rc);
        return rc;
    }
    rc = lpa_tlv_parse_profile_info_list_response(answer.data, length, &profiles.data, count);
    if (rc != RESULT__OK)
        log__string(LOG__ERROR, "[%s] lpa_tlv_parse_profile_info_list_response failed, rc %d", name, rc);
    return rc;
}

void remove_profiles(const session &session, const protected_profiles &protected_profiles, progress &progress)
{
    owned<LpaProfileRecord> profiles;
    uint32_t count = 0;
    progress.last_code = read_profiles(session, profiles, &count);
    if (progress.last_code != RESULT__OK) return;
    for (uint32_t i = 0; i < count; ++i) {
        const LpaProfileRecord &profile = profiles.data[i];
        log__string(LOG__INFO, "[%s] Processing eUICC profile %d: ICCID %s, state %d", name, i, profile.iccid,
                    profile.state);
        if (is_manufacturing(protected_profiles, profile.iccid))
            log__string(LOG__INFO, "[%s] eUICC profile %d is a MNF profile, skipping", name, i);
        else if (is_bootstrap(protected_profiles, profile.iccid))
            log__string(LOG__INFO, "[%s] eUICC profile %d is a bootstrap profile, skipping", name, i);
        else remove_profile(session, profile, progress);
    }
}

void deliver_notifications(const session &session, progress &progress)
{
    progress.last_code = process_notifications_unlocked(session.handle, session.channel);
    if (progress.last_code == RESULT__OK) return;
    log__string(LOG__ERROR, "[%s] process_notifications_unlocked failed, rc %d", name, progress.last_code);
    progress.failed = true;
}

} // namespace

uint32_t LPA__reset_settings(const char *modem)
{
    if (!modem) {
        log__string(LOG__ERROR, "[%s] modem is null", name);
        return RESULT__BAD_ARGUMENT;
    }
    const protected_profiles protected_profiles = read_protected_profiles();
    progress progress;
    const uint32_t code = operation_frame__session(name, modem, [&](ModemHandle *handle, uint8_t channel) {
        const session session = {handle, channel};
        remove_profiles(session, protected_profiles, progress);
        if (progress.changed) deliver_notifications(session, progress);
        return progress.last_code;
    });
    if (code == RESULT__OK && progress.changed) operation_frame__reload(name, modem);
    if (progress.failed) return RESULT__FATAL_ERROR;
    return code;
}
