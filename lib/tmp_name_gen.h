#pragma once

#include <pthread.h>

#include <cstddef>
#include <string>

/// Draws short random names for temporary files and folders. One instance serves the whole process
/// and every thread; it is made on first use and never destroyed. Nothing here is secret: the RC4
/// keystream is only a cheap source of well-spread bytes.
class TmpNameGen {
public:
    static TmpNameGen* getInstance();

    /// A fresh name of 8 characters: digits, ASCII letters, "-" and "_". The disk is not asked; a
    /// name that exists already is the caller's to handle.
    std::string getTmpName();

    /// `dir`, a "/" and a fresh name. `dir` is used exactly as passed: one that ends in "/" yields
    /// a doubled separator, an empty one a path below "/". Nothing is created.
    std::string getTmpPath(const std::string& dir);

private:
    TmpNameGen();
    TmpNameGen(const TmpNameGen&) = delete;
    TmpNameGen& operator=(const TmpNameGen&) = delete;

    void get_key(unsigned char* key, size_t size);
    void rc4_init(unsigned char* s_box, unsigned char* key);
    void rc4_randomize(unsigned char* s_box, unsigned char* out, int count);
    void lock();
    void unlock();

    // One character for each value of six bits.
    static constexpr char map[] =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-_";

    pthread_mutex_t m_lock;
    unsigned char m_s_box[256] = {}; // moves on with every name; never keyed again
    unsigned char m_key[256] = {};   // read once, by the constructor
    unsigned char m_buffer[6] = {};  // the keystream bytes of the latest name
};
