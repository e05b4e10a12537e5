#pragma once

#include "lib/ustring/ustring.h"

#include <dirent.h>

#include <cstdint>
#include <ctime>

// File operations over paths in UTF-8. Each call blocks on the disk as long as the disk takes, may
// come from any thread, and throws nothing of its own. A failing call answers a negative code (or
// false), leaves errno as the system call that failed set it, and logs on "file_op_debug" where
// its source says so.

enum _FILE_TYPE_tag : int32_t {
    FT_ERR = 0, // unknown or not existing
    FT_FILE = 1,
    FT_DIR = 2,
    FT_SLINK = 3,
    FT_HLINK = 4, // never produced
    FT_DEV = 5,   // character or block device
    FT_FIFO = 6,
    FT_SOCK = 7
};
using FILE_TYPE = _FILE_TYPE_tag;

struct _FILE_INFO_tag {
    ustring path; // as given
    ustring name; // FSBaseName of the path
    FILE_TYPE type = FT_ERR;
    uint32_t mtime = 0; // seconds, cut to 32 bits
    uint64_t size = 0;  // bytes
    bool isExist = false;
    uint32_t uid = 0;
    uint32_t gid = 0;
    uint32_t mode = 0; // the whole st_mode, type bits included
    uint64_t dev_id = 0;
};
using FILE_INFO = _FILE_INFO_tag;

/// Equal in isExist, size, mtime, type, path and name; owner, mode and device do not count.
bool operator==(const FILE_INFO& a, const FILE_INFO& b);
bool operator!=(const FILE_INFO& a, const FILE_INFO& b);

struct DIR_HANDLE {
    ustring path;
    int flag = 0;      // bit 0: fill size and mtime of each entry
    DIR* dp = nullptr; // open from FSOpenDir to FSCloseDir
};

struct DIR_ENTRY {
    ustring name;
    FILE_TYPE type = FT_ERR; // FT_ERR too where the file system does not tell types
    uint32_t mtime = 0;
    uint64_t size = 0;
};

// Information

/// Describes what stands at `path`; a link is not followed.
/// \return 0 filled, with isExist false where nothing stands there; -1 any other error, `info`
/// untouched, or a file of unknown type, `info` filled but for the type.
int GetFileInfo(const ustring& path, FILE_INFO& info);
/// \return as GetFileInfo: 0; -1 an empty path; -2 GetFileInfo failed. The flag is ignored.
int FSStat(const ustring& path, FILE_INFO& info, bool do_case_check);
/// False for an empty path and for any error too. The flag is ignored.
bool IsFileExist(const ustring& path, bool do_case_check);
/// Plain equality of two times.
bool FSTimeEqual(time_t a, time_t b);

// Names: text only, the disk is not asked

/// The text after the last "/": empty where the path ends with it, the whole path without any.
ustring FSBaseName(const ustring& path);
/// The text before the last "/"; "/" where that is the first character or there is none.
ustring FSParentPath(const ustring& path);
/// Whether `child` is `parent` or continues it with a "/".
bool FSIsParentFolder(const ustring& parent, const ustring& child);

// Folders

/// Makes a folder, with `parents` every missing one above it too, with mode 0777 under the umask.
/// \return 0 made, or a folder already; -1 an empty path, no information, or something else stands
/// there (a link to a folder counts as such); -2 not made.
int FSMKDir(const ustring& path, bool parents);
/// Makes every missing folder of `path`. Folders made before a failure stay.
/// \param end unless null, points on return into `path`'s own text: after success at its last
/// character position (the terminator, or a "/" at the end), after a failure behind the prefix
/// that failed. An empty path, or a lack of memory, leaves it as it was.
/// \param replace removes what stands in a folder's place and is none; without it, such a thing at
/// the end of `path` fails with EEXIST.
/// \param mode 0xFFFFFFFF gives 0777 under the umask; any other value is given exactly, for which
/// the umask of the whole process is 0 until the call returns.
/// \return 0; -1.
int FSMKDirP(const ustring& path, char** end, bool replace, unsigned mode);
/// Makes each folder below `root` down to `target`; `root` itself is expected to exist.
/// \return 0; -1 `root` is no parent of `target` (and not the same), or a folder was not made.
int FSMKDirFromRoot(const ustring& root, const ustring& target);

/// Opens a folder for FSReadDir.
/// \param flag bit 0 has FSReadDir fill each entry's size and mtime.
/// \return 0; -1, and `h` is as before. The caller owns the stream until FSCloseDir.
int FSOpenDir(const ustring& path, int flag, DIR_HANDLE& h);
/// The next entry, "." and ".." among them.
/// \return 1 an entry in `e`; 0 the end; -1 an error, also of a handle that is not open.
int FSReadDir(DIR_HANDLE& h, DIR_ENTRY& e);
/// Closes the stream; does nothing to a handle that is not open.
void FSCloseDir(DIR_HANDLE& h);

// Copy, move, remove

/// Copies the content of a file, links followed; owner, mode and times stay behind. A FIFO does not
/// open, and a file is not copied onto itself under whatever name.
/// \param removeSource removes the source once everything is written.
/// \return 0; -1. A failed copy leaves what it has written.
int FSCopy(const ustring& src, const ustring& dst, bool removeSource);
/// Moves `src` to `dst`; across file systems it copies entry by entry and removes the source. There
/// only files and folders move.
/// \param flag ignored; kept for its callers.
/// \return 0 moved; -1 an empty path; -2 source missing or unreadable; -3 not moved; -100 name too
/// long. What moved before a failure stays moved.
int FSRename(const ustring& src, const ustring& dst, bool flag);
/// Removes a file or a whole folder; a link is removed itself, never followed.
/// \param flag ignored; kept for its callers.
/// \return 0 removed, or nothing there; -1 an empty path or no information; -3 not removed. A
/// folder that does not open stays where it is, and that answers 0 too.
int FSRemove(const ustring& path, bool flag);

// Temporary files

/// Creates an empty file of mode 0644 with a random name in `dir`. \return 0, its path in `out`;
/// -1.
int FSMktemp(const ustring& dir, ustring& out);
/// Names a path in `dir` that is likely free, and creates nothing. \return 0, `out` filled; -1.
int FSCreateTempPath(const ustring& dir, ustring& out);

// Links

/// Replaces `path` by its absolute form without links. \return 0; -1, `path` untouched.
int FSGetRealPath(ustring& path);
/// Makes `link` point to `target`, which need not exist. \return 0; -1.
int FSCreateSymbolicLink(const ustring& target, const ustring& link);
/// The text that a link holds. \return 0; -1 no link, unreadable, or above 4095 bytes.
int FSReadSymbolicLink(const ustring& path, ustring& out);

// Attributes and file systems

/// Sets both times, in seconds, of the file or of the link itself. \return 0; -1.
int FSUTime(const ustring& path, time_t atime, time_t mtime);
/// Sets the owner of the file or of the link itself. Only absolute paths are meant. \return 0; -1.
int FSChown(const ustring& path, uint32_t uid, uint32_t gid);
/// Whether access in `mode` (R_OK and so on) is refused by permissions; any other failure is no.
bool isFileLocked(const ustring& path, int mode);
/// The negation of isFileLocked: a missing file counts as permitted.
bool hasFilePermission(const ustring& path, int mode);
/// Whether `path` lies on a network mount (NFS, CIFS); false too where that cannot be told.
bool isMountPoint(const ustring& path);
/// Whether `path` lies on a FAT file system; false too where that cannot be told.
bool IsMSDOS(const ustring& path);
