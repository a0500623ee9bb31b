// Saving on POSIX only: what a saved file keeps (owner, group, permission bits, extended
// attributes and ACLs), what a new file gets (umask, set-group-ID directory), symbolic links,
// FIFOs and device nodes, hard links, a read-only mount and a umask without write bits across
// file systems. CI runs these as root; what the process or the file system cannot do is skipped
// with the reason printed.

#include "kpxml/KpXmlTree.h"
#include "platform/FileFaults.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "PosixFiles.h"
#include "SaveFixture.h"
#include "TestSupport.h"

namespace {

namespace fs = std::filesystem;
namespace posix = KpXml::test::posix;
using KpXml::detail::platform::FileFaults;
using KpXml::test::readBytes;
using KpXml::test::writeBytes;

constexpr unsigned nobody = 65534;  // another user and group than the test's
constexpr unsigned reader = 65533;  // a user an ACL lets read
// What the document below is on disk.
const std::string saved = "<new />\r\n";

class SavePosixTest : public KpXml::test::SaveFixture {
protected:
    // Saves the document <new /> to path without the declaration; the reason in error.
    bool save(const std::string& path) { return KpXmlTree("new").writeFile(path, false, error); }
    // A new directory on another file system where there is one (/dev/shm is usually tmpfs),
    // else under the test's directory; removed at the end of the test.
    fs::path otherFileSystem(const std::string& name) {
        const std::string unique = "kpxml_" + name + "_" + std::to_string(KpXml::test::processId());
        otherDirectory = fs::exists("/dev/shm") ? fs::path("/dev/shm") / unique : root / unique;
        fs::create_directories(otherDirectory);
        return otherDirectory;
    }
    void TearDown() override {
        SaveFixture::TearDown();
        if (!otherDirectory.empty()) fs::remove_all(otherDirectory);
    }
    std::error_code error;
    fs::path otherDirectory;
};

// A hard link to the target keeps the old file: the saved name alone gets the new one.
TEST_F(SavePosixTest, OwnerGroupPermissionsExtendedAttributesAndAclsAreKeptAndHardLinksLeft_Posix) {
    writeBytes(target, "old");
    fs::permissions(target, fs::perms(0640));
    fs::create_hard_link(target, targets / "linked.xml");
    std::string reason;
    const bool attributes = posix::setAttribute(target, "user.comment", "kept", reason);
    if (!attributes) std::cout << "extended attributes not tested: " << reason << "\n";
    const std::string acl = posix::aclGrantingRead(reader);
    const bool acls = posix::setAttribute(target, "system.posix_acl_access", acl, reason);
    if (!acls) std::cout << "ACLs not tested: " << reason << "\n";
    const bool owners = posix::mayChangeOwners() && posix::setOwner(target, nobody, nobody);
    if (!owners) std::cout << "owner and group not tested: the test may not give files away (not root)\n";

    ASSERT_TRUE(save(target)) << error.message();
    EXPECT_EQ(readBytes(target), saved);
    EXPECT_EQ(readBytes((targets / "linked.xml").string()), "old");
    EXPECT_EQ(posix::modeOf(target), 0640u);
    if (attributes) {
        EXPECT_EQ(posix::attribute(target, "user.comment"), "kept");
    }
    if (acls) {
        EXPECT_EQ(posix::attribute(target, "system.posix_acl_access"), acl);
    }
    unsigned user = 0, group = 0;
    ASSERT_TRUE(posix::ownerOf(target, user, group));
    if (owners) {
        EXPECT_EQ(user, nobody);
        EXPECT_EQ(group, nobody);
    }
    EXPECT_EQ(leftOver({"linked.xml", "target.xml"}), std::vector<std::string>{});
}

TEST_F(SavePosixTest, ANewFileFollowsTheUmaskAndItsSetGroupIdDirectory_Posix) {
    const fs::path shared = targets / "shared";
    fs::create_directory(shared);
    const bool groups = posix::mayChangeOwners() && posix::setOwner(shared.string(), 0, nobody);
    if (!groups) std::cout << "directory group not tested: the test may not give files away (not root)\n";
    fs::permissions(shared, fs::perms(02775));
    const unsigned previous = posix::setUmask(027);
    const bool done = save((shared / "new.xml").string());
    posix::setUmask(previous);
    ASSERT_TRUE(done) << error.message();
    EXPECT_EQ(posix::modeOf((shared / "new.xml").string()), 0640u);
    unsigned user = 0, group = 0;
    ASSERT_TRUE(posix::ownerOf((shared / "new.xml").string(), user, group));
    if (groups) {
        EXPECT_EQ(group, nobody);
    }
    EXPECT_EQ(namesIn(shared), std::vector<std::string>{"new.xml"});
}

TEST_F(SavePosixTest, SymbolicLinksAreFollowedToTheFileTheyNameAndStayLinks_Posix) {
    const fs::path elsewhere = otherFileSystem("links");
    fs::create_directories(targets / "other");
    fs::create_directories(targets / "sub");
    for (const fs::path& real : {targets / "real.xml", targets / "other" / "real.xml", targets / "up-real.xml", elsewhere / "real.xml"}) {
        writeBytes(real.string(), "old");
    }
    const struct {
        const char* name;
        std::string link, text, real;
        const char* refusal;  // nullptr: saved
    } cases[] = {
        {"same directory", "same.xml", "real.xml", "real.xml", nullptr},
        {"other directory", "other.xml", "other/real.xml", "other/real.xml", nullptr},
        {"up a directory", "sub/up.xml", "../up-real.xml", "up-real.xml", nullptr},
        {"other file system", "shm.xml", (elsewhere / "real.xml").string(), "", nullptr},
        {"chain of links", "chain.xml", "same.xml", "real.xml", nullptr},
        {"dangling", "dangling.xml", "made.xml", "made.xml", nullptr},
        {"read-only file", "read-only.xml", "locked.xml", "locked.xml", "read-only file"},
    };
    const std::vector<std::string> present{"chain.xml", "dangling.xml", "locked.xml", "made.xml", "other", "other.xml",
                                           "read-only.xml", "real.xml", "same.xml", "shm.xml", "sub", "up-real.xml"};
    for (const auto& c : cases) fs::create_symlink(c.text, targets / c.link);
    writeBytes((targets / "locked.xml").string(), "old");
    fs::permissions(targets / "locked.xml", fs::perms(0444));

    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const fs::path real = c.real.empty() ? fs::path(c.text) : targets / c.real;
        const bool created = !fs::exists(real);
        if (!created && c.refusal == nullptr) writeBytes(real.string(), "old");
        EXPECT_EQ(save((targets / c.link).string()), c.refusal == nullptr);
        EXPECT_EQ(error.message(), c.refusal == nullptr ? std::error_code().message() : c.refusal);
        EXPECT_TRUE(fs::is_symlink(targets / c.link));
        EXPECT_EQ(readBytes(real.string()), c.refusal == nullptr ? saved : "old");
        if (created) {
            EXPECT_EQ(posix::modeOf(real.string()), posix::modeOf((targets / "real.xml").string()));
        }
        EXPECT_EQ(leftOver(present), std::vector<std::string>{});
        EXPECT_EQ(namesIn(targets / "other"), std::vector<std::string>{"real.xml"});
        EXPECT_EQ(namesIn(targets / "sub"), std::vector<std::string>{"up.xml"});
        EXPECT_EQ(namesIn(elsewhere), std::vector<std::string>{"real.xml"});
    }
}

TEST_F(SavePosixTest, FifosAndDeviceNodesAreWrittenInPlace_Posix) {
    const std::string fifo = (targets / "fifo").string();
    ASSERT_TRUE(posix::makeFifo(fifo));
    {
        SCOPED_TRACE("FIFO without a reader: refused at once rather than waiting");
        EXPECT_FALSE(save(fifo));
        EXPECT_EQ(error, std::errc::no_such_device_or_address);
        EXPECT_TRUE(fs::is_fifo(fs::symlink_status(fifo)));
    }
    {
        SCOPED_TRACE("FIFO with a reader");
        posix::FifoReader waiting(fifo);
        ASSERT_TRUE(waiting.isOpen());
        EXPECT_TRUE(save(fifo)) << error.message();
        EXPECT_EQ(waiting.readAll(), saved);
        EXPECT_TRUE(fs::is_fifo(fs::symlink_status(fifo)));
    }
    // A node like /dev/null, made here: the real one is never touched.
    const std::string device = (targets / "null").string();
    std::string reason;
    if (!posix::makeDeviceLike(device, "/dev/null", reason)) {
        std::cout << "device node not tested: " << reason << "\n";
    } else {
        SCOPED_TRACE("device node");
        EXPECT_TRUE(save(device)) << error.message();
        EXPECT_TRUE(posix::isDeviceLike(device, "/dev/null"));
    }
    EXPECT_EQ(leftOver({"fifo", "null"}), std::vector<std::string>{});
}

TEST_F(SavePosixTest, AReadOnlyMountRefusesTheSaveAndKeepsTheFile_Posix) {
    const std::string mountPoint = (targets / "mount").string();
    fs::create_directory(mountPoint);
    std::string reason;
    // Each check that fails in the child gives its own exit code.
    const int result = posix::runWithPrivateMounts(
        [&] {
            const std::string file = mountPoint + "/x.xml";
            if (!posix::mountTmpfs(mountPoint)) return 10;
            writeBytes(file, "old");
            if (!posix::remountReadOnly(mountPoint)) return 11;
            if (save(file)) return 12;
            if (error != std::errc::read_only_file_system || error.message() != "Read-only file system") return 13;
            if (readBytes(file) != "old") return 14;
            if (namesIn(mountPoint) != std::vector<std::string>{"x.xml"} || !namesIn(temporary).empty()) return 15;
            return 0;
        },
        reason);
    if (result == posix::noNamespace) GTEST_SKIP() << "no private mount namespace: " << reason;
    EXPECT_EQ(result, 0);
}

TEST_F(SavePosixTest, AUmaskWithoutWriteBitsAcrossFileSystemsLeavesNothing_Posix) {
    // The temporary directory on another file system where there is one, and the target's
    // directory refusing the first temporary file, so that the document is copied across.
    temporary = otherFileSystem("umask");
    KpXml::test::redirectTemporaryDirectory((temporary / "").string());
    const std::string existing = (targets / "existing.xml").string();
    writeBytes(existing, "old");
    fs::permissions(existing, fs::perms(0644));
    const unsigned previous = posix::setUmask(0222);
    FileFaults::start(0, true);
    const bool savedNew = save(target);
    const bool savedExisting = save(existing);
    FileFaults::stop();
    posix::setUmask(previous);
    EXPECT_TRUE(savedNew);
    EXPECT_TRUE(savedExisting);
    EXPECT_EQ(readBytes(target), saved);
    EXPECT_EQ(readBytes(existing), saved);
    EXPECT_EQ(posix::modeOf(target), 0444u);
    EXPECT_EQ(posix::modeOf(existing), 0644u);
    EXPECT_EQ(leftOver({"existing.xml", "target.xml"}), std::vector<std::string>{});
}

}  // namespace
