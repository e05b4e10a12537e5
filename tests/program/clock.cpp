// Preloaded into a program: its clock stands an hour earlier at every look.
#include <sys/time.h>

#include <ctime>

namespace {

time_t earlierEachTime() {
    static time_t now = 1700000000;
    return __atomic_sub_fetch(&now, 3600, __ATOMIC_RELAXED);
}

} // namespace

extern "C" time_t time(time_t* result) {
    const time_t now = earlierEachTime();
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

extern "C" int gettimeofday(struct timeval* result, void* /*zone*/) {
    *result = {earlierEachTime(), 0};
    return 0;
}
