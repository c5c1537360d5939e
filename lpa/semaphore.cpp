#include "lpa/semaphore.h"
#include "foundation/log.h"
#include "lpa/memory.h"

Semaphore *make_semaphore(void)
{
    auto *semaphore = static_cast<Semaphore *>(M_malloc(sizeof(Semaphore)));
    if (!semaphore) {
        log__string(LOG__ERROR, "[SEMAPHORE]\t[make_semaphore] Can't allocate data to semaphore");
        return nullptr;
    }
    semaphore->available = 1;
    if (pthread_mutex_init(&semaphore->mutex, nullptr) != 0) {
        log__string(LOG__ERROR, "[SEMAPHORE]\t[make_semaphore] Mutex initalization failed");
        M_free(semaphore);
        return nullptr;
    }
    return semaphore;
}

int32_t semaphore_take(Semaphore *semaphore)
{
    if (!semaphore) {
        log__string(LOG__ERROR, "[SEMAPHORE]\t[semaphore_take] semaphore instance is null");
        return -1;
    }
    int rc = pthread_mutex_lock(&semaphore->mutex);
    if (rc != 0) log__string(LOG__ERROR, "[SEMAPHORE]\t[semaphore_take] Mutex lock failed, rc %d", rc);
    const int32_t result = semaphore->available ? 0 : -1;
    semaphore->available = 0;
    rc = pthread_mutex_unlock(&semaphore->mutex);
    if (rc != 0) log__string(LOG__ERROR, "[SEMAPHORE]\t[semaphore_take] Mutex unlock failed, rc %d", rc);
    return result;
}

void semaphore_give(Semaphore *semaphore)
{
    if (!semaphore) return;
    int rc = pthread_mutex_lock(&semaphore->mutex);
    if (rc != 0) log__string(LOG__ERROR, "[SEMAPHORE]\t[semaphore_give] Mutex lock failed, rc %d", rc);
    semaphore->available = 1;
    rc = pthread_mutex_unlock(&semaphore->mutex);
    if (rc != 0) log__string(LOG__ERROR, "[SEMAPHORE]\t[semaphore_give] Mutex unlock failed, rc %d", rc);
}

void semaphore_destroy(Semaphore *semaphore)
{
    if (!semaphore) return;
    const int rc = pthread_mutex_destroy(&semaphore->mutex);
    if (rc != 0) log__string(LOG__ERROR, "[MUTEX]\tMutex destroy failed, rc %d", rc);
    M_free(semaphore);
}
