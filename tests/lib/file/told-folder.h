#pragma once

/// What befalls the entries that a folder tells, in a program linked with readdir_r wrapped
/// (`tessel_wrap(<test> readdir_r)`) and with told-folder.cpp. Each thread has its own.
enum class Reading { usual, end_is_an_error, types_are_unknown, entries_vanish };
inline thread_local Reading reading = Reading::usual;
