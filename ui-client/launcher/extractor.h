#pragma once

#include "lib/ustring/ustring.h"

struct archive;

/// Counts, lists and unpacks one archive of any format and compression that libarchive knows.
/// A short-lived value of one thread: made, given source and target, asked once. It holds no handle
/// between calls. Failures are logged and answered by -1; nothing throws.
class Extractor {
public:
    void SetTarget(const ustring& folder) { target = folder; }
    void SetSource(const ustring& path) { source = path; }

    /// Unpacks every entry of the source below the target; tells Notify_Adapter the dialog's text
    /// at the start and the progress after each entry. Entries belong to the extracting user, under
    /// the umask, with the time of extraction. Blocks on the disk.
    /// \return 0; -1 no source or target, an archive that is damaged or without entries, or an
    /// entry that libarchive so much as warns of: what was unpacked before stays.
    int Extract();

    /// \return the number of entries up to the end, or to the first that cannot be read; -1 no
    /// source or target, or an archive that does not open.
    int Count();

    /// Writes the path of every entry that Count counts to standard output, one per line.
    /// \return 0; -1 as Count.
    int List();

    /// Copies the data of the reader's current entry to the writer's current entry.
    /// \return 0 at the end of the data; -1 a null handle, or one of the handles failed.
    static int copy_data(struct archive* reader, struct archive* writer);

private:
    ustring target; // the folder that receives the entries
    ustring source; // the archive file
};
