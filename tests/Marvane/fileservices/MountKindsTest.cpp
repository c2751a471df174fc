// The kind of share a folder is on, told by the mount table and not by statfs, which names
// every user-space client FUSE.
#include "Marvane/fileservices/MountKinds.h"
#include "Marvane/fileservices/FileNameRules.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using host::ShareKind;

const std::string kTable =
    "22 1 0:21 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
    "40 22 0:40 / /mnt/nas rw,nosuid,nodev,relatime shared:20 - fuse.smbnetfs smbnetfs "
    "rw,user_id=0,group_id=0,allow_other\n"
    "41 22 0:41 / /mnt/ssh rw,nosuid - fuse.sshfs ana@server:/prod rw,user_id=0\n"
    "42 22 0:42 / /mnt/kernel\\040smb rw - cifs //server/prod rw,vers=3.1.1\n"
    "43 22 0:43 / /mnt/nfs rw master:7 - nfs4 server:/prod rw,vers=4.2\n"
    "44 40 0:44 / /mnt/nas/127.0.0.1/prod/local rw - ext4 /dev/sdb1 rw\n";

ShareKind KindAt(const std::string& path) {
    const auto mount = host::MountHolding(kTable, path);
    return mount ? host::ShareKindOfMountType(mount->type) : ShareKind::Local;
}

TEST(MountKindsTest, AnSmbShareThroughAUserSpaceClientIsKnownByTheMountTable) {
    EXPECT_EQ(KindAt("/mnt/nas/127.0.0.1/prod/Scene 1.mvproj"), ShareKind::Smb);
    EXPECT_EQ(host::MountHolding(kTable, "/mnt/nas/127.0.0.1/prod")->type, "fuse.smbnetfs");
}

TEST(MountKindsTest, EachKindOfShareIsToldApart) {
    EXPECT_EQ(KindAt("/mnt/ssh/Pilot"), ShareKind::Sshfs);
    EXPECT_EQ(KindAt("/mnt/nfs/Pilot"), ShareKind::Nfs);
    EXPECT_EQ(KindAt("/home/ana/Pilot"), ShareKind::Local);
}

TEST(MountKindsTest, AMountPointWithASpaceIsReadUnescaped) {
    EXPECT_EQ(KindAt("/mnt/kernel smb/Pilot"), ShareKind::Smb);
    EXPECT_EQ(host::MountHolding(kTable, "/mnt/kernel smb")->mountPoint, "/mnt/kernel smb");
}

TEST(MountKindsTest, TheInnermostMountHoldsThePath) {
    EXPECT_EQ(KindAt("/mnt/nas/127.0.0.1/prod/local/Scene.mvproj"), ShareKind::Local);
    // A sibling whose name only begins like a mount point is not inside it.
    EXPECT_EQ(KindAt("/mnt/nas2/Pilot"), ShareKind::Local);
}

TEST(MountKindsTest, LinesThatAreNotMountsAreSkipped) {
    const std::string broken = "garbage\n\n1 2 3\n" + kTable + "9 9 9 / /x rw no-separator\n";
    EXPECT_EQ(host::ShareKindOfMountType(host::MountHolding(broken, "/mnt/nas/a")->type),
              ShareKind::Smb);
    EXPECT_FALSE(host::MountHolding("", "/mnt/nas").has_value());
}

TEST(MountKindsTest, SmbSharesOfEveryClientTakeWindowsNames) {
    for (const char* type : {"fuse.smbnetfs", "cifs", "smb3", "smbfs"}) {
        EXPECT_EQ(host::FileNameRuleForFileSystemType(type), host::FileNameRule::Windows) << type;
    }
    for (const char* type : {"fuse.sshfs", "fuse", "ext4", "nfs4"}) {
        EXPECT_EQ(host::FileNameRuleForFileSystemType(type), host::FileNameRule::Posix) << type;
    }
}

TEST(MountKindsTest, ThisMachinesRootIsLocal) {
    EXPECT_EQ(host::ShareKindOf("/"), ShareKind::Local);
    EXPECT_EQ(host::ShareKindDisplayName(ShareKind::Smb), "SMB share");
}

} // namespace
