#include "tools/zlkcam/FileSystem.h"

#include <linux/magic.h>
#include <sys/statfs.h>

#include <algorithm>
#include <iterator>

namespace zlk {
namespace {

constexpr long xfs = 0x58465342;  // the kernel's header doesn't define this one
constexpr long inMemory[] = {TMPFS_MAGIC, RAMFS_MAGIC};
constexpr long elsewhere[] = {NFS_SUPER_MAGIC,  SMB_SUPER_MAGIC,  CIFS_SUPER_MAGIC,
                              SMB2_SUPER_MAGIC, V9FS_MAGIC,       AFS_SUPER_MAGIC,
                              CODA_SUPER_MAGIC, CEPH_SUPER_MAGIC, FUSE_SUPER_MAGIC};
// File systems whose syncfs waits for the data and reports errors.
constexpr long asAWhole[] = {EXT4_SUPER_MAGIC,  xfs,
                             BTRFS_SUPER_MAGIC, MSDOS_SUPER_MAGIC,
                             EXFAT_SUPER_MAGIC, F2FS_SUPER_MAGIC};

/// The number of the file's file system; 0, which no file system has, if it isn't known.
long typeOf(int file) {
    struct statfs status {};
    return ::fstatfs(file, &status) == 0 ? static_cast<long>(status.f_type) : 0;
}

template <std::size_t size>
bool isAmong(long type, const long (&types)[size]) {
    return std::ranges::find(types, type) != std::end(types);
}

}  // namespace

bool isOnMedium(int file) {
    const long type = typeOf(file);
    // What can't be found out doesn't count as a medium, so that nothing is wrongly called proved.
    return type != 0 && !isAmong(type, inMemory) && !isAmong(type, elsewhere);
}

bool isOnThisMachine(int file) {
    const long type = typeOf(file);
    return type != 0 && !isAmong(type, elsewhere);
}

bool isFlushedAsAWhole(int file) {
    return isAmong(typeOf(file), asAWhole);
}

bool losesContentsByMoving(int file) {
    return typeOf(file) == MSDOS_SUPER_MAGIC;
}

}  // namespace zlk
