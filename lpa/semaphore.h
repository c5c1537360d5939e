/* lpa/semaphore.h: a binary semaphore that never waits, for host programs. */
#pragma once
#include "foundation/export.h"
#include <pthread.h>
#include <stdint.h>

LPA_API_BEGIN

typedef struct Semaphore {
    uint32_t available; /* 1: free */
    pthread_mutex_t mutex;
} Semaphore;

Semaphore *make_semaphore(void);              /* free; null on failure */
int32_t semaphore_take(Semaphore *semaphore); /* 0 when it was free, else -1 */
void semaphore_give(Semaphore *semaphore);
void semaphore_destroy(Semaphore *semaphore);

LPA_API_END
