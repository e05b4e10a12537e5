// Tells the thread sanitizer what it cannot see: the toolkit, which is not built for it, keeps by
// means of its own that a thread's end comes before the return of a wait for that thread. Linked
// into the tests that wait for a QThread; tessel_wrap sends the calls here.
#include <QDeadlineTimer>
#include <QThread>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#else
static void __tsan_acquire(void*) {}
static void __tsan_release(void*) {}
#endif

extern "C" {

int __real__ZN7QThread4execEv(QThread* thread);
int __wrap__ZN7QThread4execEv(QThread* thread);
bool __real__ZN7QThread4waitE14QDeadlineTimer(QThread* thread, QDeadlineTimer deadline);
bool __wrap__ZN7QThread4waitE14QDeadlineTimer(QThread* thread, QDeadlineTimer deadline);

int __wrap__ZN7QThread4execEv(QThread* thread) {
    const int result = __real__ZN7QThread4execEv(thread);
    __tsan_release(thread);
    return result;
}

bool __wrap__ZN7QThread4waitE14QDeadlineTimer(QThread* thread, QDeadlineTimer deadline) {
    const bool isEnded = __real__ZN7QThread4waitE14QDeadlineTimer(thread, deadline);
    if (isEnded) {
        __tsan_acquire(thread);
    }
    return isEnded;
}
}
