#include "core/sampling/linux/MountTable.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>

#include "core/sampling/linux/KernelText.h"

namespace orvik {

namespace {

bool isOctal(char c) { return c >= '0' && c <= '7'; }

/// The kernel writes blanks, line ends and backslashes as a backslash and three octal digits.
std::string withoutEscapes(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string_view digits = text.substr(i + 1, 3);
    if (text[i] == '\\' && digits.size() == 3 && std::ranges::all_of(digits, isOctal)) {
      out += static_cast<char>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + (digits[2] - '0'));
      i += 3;
    } else {
      out += text[i];
    }
  }
  return out;
}

/// "36 35 8:2 / /home rw,noatime shared:1 master:2 - ext4 /dev/sda2 rw": any number of optional
/// fields stands before the dash. The source may be empty.
std::optional<Mount> parseLine(std::string_view line) {
  const std::vector<std::string_view> fields = splitAt(line, ' ');
  constexpr std::size_t fixedFields = 6;
  if (fields.size() < fixedFields) {
    return std::nullopt;
  }
  const auto dash = std::find(fields.begin() + fixedFields, fields.end(), "-");
  if (fields.end() - dash < 4 || fields[2].find(':') == std::string_view::npos ||
      !fields[4].starts_with('/')) {
    return std::nullopt;
  }
  return Mount{.device = std::string(fields[2]),
               .root = withoutEscapes(fields[3]),
               .mountPoint = withoutEscapes(fields[4]),
               .fileSystem = withoutEscapes(dash[1]),
               .source = withoutEscapes(dash[2])};
}

}  // namespace

std::vector<Mount> parseMountInfo(std::string_view text) {
  std::vector<Mount> mounts;
  std::map<std::string, std::size_t> lastAt;
  for (const std::string_view line : splitAt(text, '\n')) {
    if (auto mount = parseLine(line)) {
      lastAt[mount->mountPoint] = mounts.size();
      mounts.push_back(std::move(*mount));
    }
  }
  std::vector<Mount> visible;
  for (std::size_t i = 0; i < mounts.size(); ++i) {
    if (lastAt[mounts[i].mountPoint] == i) {
      visible.push_back(std::move(mounts[i]));
    }
  }
  return visible;
}

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
auto preference(const Mount& mount) {
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
  std::ranges::stable_sort(mounts, {}, preference);
  std::set<std::string> listed;
  std::erase_if(mounts, [&](const Mount& mount) { return !listed.insert(identity(mount)).second; });
  return mounts;
}

}  // namespace orvik
