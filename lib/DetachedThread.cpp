#include "lib/DetachedThread.h"

#include <pthread.h>

int fgStartDetached(void* (*body)(void*), void* argument)
{
    pthread_t thread;
    const int error = pthread_create(&thread, nullptr, body, argument);
    if (error == 0) pthread_detach(thread);
    return error;
}
