// One file operation of the support library as a program, to stand beside rm and cp.
//
//   file_work remove PATH | copy FROM TO | copy-tree FROM TO

#include "lib/file/file-op.h"
#include "ui-client/launcher/linux/linux-service.h"

#include <cstring>

int main(int argc, char** argv) {
    if (argc == 3 && strcmp(argv[1], "remove") == 0) {
        return FSRemove(argv[2], false) == 0 ? 0 : 1;
    }
    if (argc == 4 && strcmp(argv[1], "copy") == 0) {
        return FSCopy(argv[2], argv[3], false) == 0 ? 0 : 1;
    }
    if (argc == 4 && strcmp(argv[1], "copy-tree") == 0) {
        return LinuxService().FSCopyPath(argv[2], argv[3]) == 0 ? 0 : 1;
    }
    return 2;
}
