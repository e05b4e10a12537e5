#include "lib/tmp_name_gen.h"

#include <sys/time.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace {

constexpr size_t key_bytes = 256;

/// Reads from the kernel's random source. \return the bytes read, 0 where it does not open.
size_t read_urandom(unsigned char* key, size_t size) {
    FILE* const source = fopen("/dev/urandom", "rb");
    if (source == nullptr) {
        return 0;
    }
    const size_t got = fread(key, 1, size, source);
    fclose(source);
    return got;
}

} // namespace

TmpNameGen* TmpNameGen::getInstance() {
    static TmpNameGen instance;
    return &instance;
}

TmpNameGen::TmpNameGen() {
    pthread_mutex_init(&m_lock, nullptr);
    get_key(m_key, sizeof m_key);
    rc4_init(m_s_box, m_key);
}

std::string TmpNameGen::getTmpName() {
    char name[8];
    lock();
    rc4_randomize(m_s_box, m_buffer, sizeof m_buffer);
    char* out = name;
    for (const unsigned char* bytes : {m_buffer, m_buffer + 3}) {
        *out++ = map[bytes[0] >> 2];
        *out++ = map[((bytes[0] & 3) << 4) | (bytes[1] >> 4)];
        *out++ = map[((bytes[1] & 15) << 2) | (bytes[2] >> 6)];
        *out++ = map[bytes[2] & 63];
    }
    unlock();
    return std::string(name, sizeof name);
}

std::string TmpNameGen::getTmpPath(const std::string& dir) {
    return dir + "/" + getTmpName();
}

void TmpNameGen::get_key(unsigned char* key, size_t size) {
    const size_t wanted = std::min(size, key_bytes);
    if (read_urandom(key, wanted) == wanted) {
        return;
    }
    // Written over the front only: what a short read has brought stays behind it as key material.
    struct timeval now = {};
    gettimeofday(&now, nullptr);
    snprintf(reinterpret_cast<char*>(key), size, "%lu-%lu", static_cast<unsigned long>(now.tv_sec),
             static_cast<unsigned long>(now.tv_usec));
}

void TmpNameGen::rc4_init(unsigned char* s_box, unsigned char* key) {
    for (int i = 0; i < 256; ++i) {
        s_box[i] = static_cast<unsigned char>(i);
    }
    unsigned char j = 0;
    for (int i = 0; i < 256; ++i) {
        j = static_cast<unsigned char>(j + s_box[i] + key[i]);
        std::swap(s_box[i], s_box[j]);
    }
}

void TmpNameGen::rc4_randomize(unsigned char* s_box, unsigned char* out, int count) {
    // Both indices start anew with every call; only the permutation is kept between calls. Whoever
    // seeds another generator with the same key relies on drawing the same names.
    unsigned char i = 0;
    unsigned char j = 0;
    for (int k = 0; k < count; ++k) {
        i = static_cast<unsigned char>(i + 1);
        j = static_cast<unsigned char>(j + s_box[i]);
        std::swap(s_box[i], s_box[j]);
        out[k] = s_box[static_cast<unsigned char>(s_box[i] + s_box[j])];
    }
}

void TmpNameGen::lock() {
    pthread_mutex_lock(&m_lock);
}

void TmpNameGen::unlock() {
    pthread_mutex_unlock(&m_lock);
}
