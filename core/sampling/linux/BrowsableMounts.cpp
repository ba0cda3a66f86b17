#include "core/sampling/linux/BrowsableMounts.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <tuple>

namespace orvik {

namespace {

/// What disks and media carry, and pools of them. Anything else (squashfs, overlay, tmpfs …) is
/// the system's own affair.
constexpr std::array<std::string_view, 31> diskTypes{
    "9p",   "apfs",          "bcachefs",     "btrfs",   "exfat",    "ext2",  "ext3",    "ext4",
    "f2fs", "fuse.mergerfs", "fuse.ntfs-3g", "fuseblk", "gfs2",     "hfs",   "hfsplus", "iso9660",
    "jfs",  "minix",         "msdos",        "nilfs2",  "ntfs",     "ntfs3", "ocfs2",   "reiserfs",
    "udf",  "ufs",           "vboxsf",       "vfat",    "virtiofs", "xfs",   "zfs"};

constexpr std::array<std::string_view, 16> networkTypes{
    "afs",         "ceph",           "cifs",        "fuse.ceph", "fuse.ceph-fuse", "fuse.curlftpfs",
    "fuse.davfs2", "fuse.glusterfs", "fuse.rclone", "fuse.s3fs", "fuse.smbnetfs",  "fuse.sshfs",
    "nfs",         "nfs4",           "smb3",        "smbfs"};

/// Disks that other machines have a hand in: the host of a virtual one, or a cluster.
constexpr std::array<std::string_view, 5> sharedDiskTypes{"9p", "gfs2", "ocfs2", "vboxsf",
                                                          "virtiofs"};

/// Where a system keeps itself: what is mounted there is a part of it.
constexpr std::array<std::string_view, 19> systemFolders{
    "/bin",  "/boot", "/dev",  "/efi",  "/etc", "/gnu",     "/lib", "/lib64", "/nix", "/opt",
    "/proc", "/run",  "/sbin", "/snap", "/sys", "/sysroot", "/tmp", "/usr",   "/var"};
/// Below system folders, and yet a person's: media, and the homes of systems that keep themselves
/// unchangeable.
constexpr std::array<std::string_view, 4> peoplesFolders{"/run/media", "/var/home", "/var/media",
                                                         "/var/mnt"};

bool isWithin(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

bool isWithinAny(std::string_view path, const auto& folders) {
  return std::ranges::any_of(folders,
                             [&](std::string_view folder) { return isWithin(path, folder); });
}

bool isBrowsable(const Mount& mount) {
  return (isNetworkMount(mount) || std::ranges::count(diskTypes, mount.fileSystem) > 0) &&
         (isWithinAny(mount.mountPoint, peoplesFolders) ||
          !isWithinAny(mount.mountPoint, systemFolders));
}

/// Whatever is asked of the file system may take for ever: it lives elsewhere or is a program.
bool mayHang(const Mount& mount) {
  return isNetworkMount(mount) || mount.fileSystem.starts_with("fuse") ||
         std::ranges::count(sharedDiskTypes, mount.fileSystem) > 0;
}

/// What mounts of one file system have in common.
std::string identity(const Mount& mount) {
  if (mount.fileSystem == "zfs") {
    return "zfs " + mount.source.substr(0, mount.source.find('/'));
  }
  // One share that is mounted twice has two device numbers.
  return isNetworkMount(mount) ? "network " + mount.source : mount.device;
}

/// Sorts the mount by which a file system is best known first: at the start of the tree, the whole
/// of it rather than a part, near the start of the tree.
auto rank(const Mount& mount) {
  return std::tuple(mount.mountPoint != "/", mount.root != "/", mount.mountPoint.size());
}

}  // namespace

bool isNetworkMount(const Mount& mount) {
  return std::ranges::count(networkTypes, mount.fileSystem) > 0;
}

std::vector<Mount> browsableMounts(
    std::vector<Mount> mounts, const std::function<bool(const std::string& mountPoint)>& isFile) {
  std::erase_if(mounts, [&](const Mount& mount) {
    // The start of a file system is a folder.
    return !isBrowsable(mount) ||
           (mount.root != "/" && !mayHang(mount) && isFile(mount.mountPoint));
  });
  std::ranges::stable_sort(mounts, {}, rank);
  std::set<std::string> listed;
  std::erase_if(mounts, [&](const Mount& mount) { return !listed.insert(identity(mount)).second; });
  return mounts;
}

}  // namespace orvik
