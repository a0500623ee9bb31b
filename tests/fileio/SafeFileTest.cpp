// Safe file output (a temporary file that replaces the target when done) and text-mode input.
// Saving never loses the old file: every step of a save failed in turn, savers killed at random
// moments, two savers of one target at once. KPXML_KILLS (50) and KPXML_KILL_KILOBYTES (2048) size
// the kill test; KPXML_SAVE_TARGET_DIRECTORY (default: the test's directory) picks the target's file system.

#include "fileio/KpOFStream.h"
#include "fileio/TextFileBuffer.h"
#include "kpxml/KpXmlApi.h"
#include "kpxml/KpXmlTree.h"
#include "platform/FileFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "SaveFixture.h"
#include "TestSupport.h"

namespace {

namespace fs = std::filesystem;
using KpXml::detail::TextFileBuffer;
using KpXml::detail::platform::FileFaults;
using KpXml::test::readBytes;
using KpXml::test::writeBytes;
using Clock = std::chrono::steady_clock;

long fromEnvironment(const char* name, long fallback) {
    const char* value = std::getenv(name);
    return value != nullptr && std::atol(value) > 0 ? std::atol(value) : fallback;
}

std::string readAll(std::istream& in) { return std::string(std::istreambuf_iterator<char>(in), {}); }

// Each test works in a directory of its own, with the temporary directory pointed into it.
class SafeFileTest : public KpXml::test::SaveFixture {
protected:
    void TearDown() override {
        XML_Stop();
        SaveFixture::TearDown();
    }
    // Runs the saver program (SaveHelper.cpp) to its end; returns its exit code.
    static int runSaver(const std::string& path, const std::string& letters, long saves, long kilobytes) {
        KpXml::test::ChildProcess saver;
        if (!saver.start(KPXML_SAVER, {path, letters, std::to_string(saves), std::to_string(kilobytes)})) return -2;
        return saver.wait();
    }
    // Writes text to the target through a KpOFStream, which commits when it goes.
    void write(int mode, const std::string& text) {
        KpOFStream out(target.c_str(), mode);
        ASSERT_NE(out.getStream(), nullptr);
        *out.getStream() << text << std::flush;
        EXPECT_TRUE(out.getStream()->good());
    }
};

TEST_F(SafeFileTest, AppendFollowsTheOldContentTextModeStoresCarriageReturnsBinaryModeDoesNot) {
    write(KpOFStream::modeOut | KpOFStream::modeAppend, "new\n");  // no target yet
    EXPECT_EQ(readBytes(target), "new\r\n");
    write(KpOFStream::modeAppend, "more\n");  // the output bit is added
    EXPECT_EQ(readBytes(target), "new\r\nmore\r\n");
    write(KpOFStream::modeOut, "a\nb\n");
    EXPECT_EQ(readBytes(target), "a\r\nb\r\n");
    EXPECT_EQ(leftOver(), std::vector<std::string>{});
    write(KpOFStream::modeOut | KpOFStream::modeBinary, "a\nb\n");
    EXPECT_EQ(readBytes(target), "a\nb\n");
    // More than one buffer's worth, with line feeds across the buffer's end.
    write(KpOFStream::modeOut, std::string(TextFileBuffer::bufferCapacity + 3, '\n'));
    std::string expected;
    for (std::size_t i = 0; i < TextFileBuffer::bufferCapacity + 3; ++i) expected += "\r\n";
    EXPECT_EQ(readBytes(target), expected);
}

TEST_F(SafeFileTest, WriterCutOffByAnExceptionKeepsTheOldTarget) {
    writeBytes(target, "old\r\n");
    try {
        KpOFStream out(target.c_str(), KpOFStream::modeOut);
        ASSERT_NE(out.getStream(), nullptr);
        *out.getStream() << "<doc>\n" << std::flush;
        throw std::runtime_error("writer failed");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(readBytes(target), "old\r\n");
    EXPECT_EQ(leftOver(), std::vector<std::string>{});
}

// The temporary directory serves only when the target's directory refuses the temporary file.
TEST_F(SafeFileTest, TheTemporaryDirectoryServesOnlyWhenTheTargetsDirectoryRefusesTheFile) {
    const std::error_code refused = std::make_error_code(std::errc::permission_denied);
    const struct { const char* name; fs::path temporaryDirectory; bool besideRefused; bool saved; } cases[] = {
        {"beside the target, temporary directory missing", root / "missing", false, true},
        {"beside the target, temporary directory too long", temporary / std::string(4100, 'd'), false, true},
        {"refused beside, temporary directory missing", root / "missing", true, false},
        {"refused beside, temporary directory too long", temporary / std::string(4100, 'd'), true, false},
        {"refused beside, copied from the temporary directory", temporary, true, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        writeBytes(target, "old");
        KpXml::test::redirectTemporaryDirectory(c.temporaryDirectory.string());
        FileFaults::start(0, c.besideRefused);
        KpOFStream out(target.c_str(), KpOFStream::modeOut);
        if (out.getStream() != nullptr) *out.getStream() << "new";
        const bool saved = out.commit();
        FileFaults::stop();
        KpXml::test::redirectTemporaryDirectory((temporary / "").string());
        EXPECT_EQ(saved, c.saved);
        EXPECT_EQ(out.getError(), c.saved ? std::error_code() : refused);
        EXPECT_EQ(out.getStream() == nullptr && out.getTemporaryPath().empty(), !c.saved);
        EXPECT_EQ(readBytes(target), c.saved ? "new" : "old");
        EXPECT_EQ(leftOver(), std::vector<std::string>{});
    }
}

TEST_F(SafeFileTest, TextInputDropsCarriageReturnsBeforeLineFeedsAndEndsAt1A) {
    EXPECT_TRUE(openIFStream((root / "missing").string().c_str())->fail());
    const std::string filler(TextFileBuffer::bufferCapacity - 1, 'x');  // a carriage return ends a buffer
    const std::string cases[][2] = {{std::string("a\r\nb\rc\x1A" "d", 8), "a\nb\rc"}, {"\r", "\r"},
                                    {"\r\r\n\x1A\r", "\r\n"}, {filler + "\r\ny", filler + "\ny"},
                                    {filler + "\ry\r", filler + "\ry\r"}, {"a\r\x1A\n", "a\r"}};
    for (const auto& [stored, read] : cases) {
        writeBytes(target, stored);
        const std::unique_ptr<std::istream> in = openIFStream(target.c_str());
        ASSERT_TRUE(in->good());
        EXPECT_EQ(readAll(*in), read);
        EXPECT_EQ(in->get(), std::char_traits<char>::eof());
        EXPECT_TRUE(in->eof());
        in->clear();
        EXPECT_EQ(readAll(in->seekg(0)), read);  // back to the beginning, as the parser goes
        in->clear();
        EXPECT_TRUE(in->seekg(1).fail());  // no other position
    }
}

TEST_F(SafeFileTest, EveryFailingStepFailsTheSaveWithItsReasonAndLeavesTheOldTargetAndNothingElse) {
    // 150,000 characters of text: three writes of the 64 KiB buffer.
    XML_Open("doc");
    XML_SetText(std::string(150000, 'n').c_str());
    const std::string old(70000, 'o');  // two reads of the 64 KiB copy buffer when appended to
    // append: through KpOFStream with the append bit, after the old content; besideRefused: the
    // target's directory refuses the temporary file, so that it is made in the temporary
    // directory and copied into a second temporary file beside the target, which takes its name.
    const struct { const char* name; bool append; bool besideRefused; std::string steps; } scenarios[] = {
        {"beside the target", false, false, "wwwfcr"},
        {"append", true, false, "pwpwpwwwfcr"},
        {"from the temporary directory", false, true, "wwwpwpwpwpcfcr"},
    };
    for (const auto& s : scenarios) {
        std::error_code error;
        const auto save = [&] {
            if (!s.append) return XML_WriteFile(target.c_str()) == 1;
            KpOFStream out(target.c_str(), KpOFStream::modeAppend);
            *out.getStream() << std::string(150000, 'n');
            const bool saved = out.commit();
            error = out.getError();
            return saved;
        };
        writeBytes(target, old);
        FileFaults::start(0, s.besideRefused);
        ASSERT_TRUE(save()) << s.name;
        EXPECT_EQ(FileFaults::stop(), s.steps) << s.name;
        EXPECT_EQ(readBytes(target).size(), s.append ? 220000u : 150036u) << s.name;  // 23 declaration, 13 tags
        EXPECT_EQ(leftOver(), std::vector<std::string>{}) << s.name;

        for (std::size_t step = 1; step <= s.steps.size(); ++step) {
            SCOPED_TRACE(std::string(s.name) + ", failing step " + std::to_string(step));
            writeBytes(target, old);
            FileFaults::start(step, s.besideRefused);
            EXPECT_FALSE(save());
            FileFaults::stop();
            if (s.append) {
                EXPECT_EQ(error, FileFaults::errorOf(static_cast<KpXml::detail::platform::FileStep>(s.steps[step - 1])));
            }
            EXPECT_TRUE(readBytes(target) == old);
            EXPECT_EQ(leftOver(), std::vector<std::string>{});
        }
    }
}

TEST_F(SafeFileTest, TemporaryFileIsPrivateUntilItTakesTheTargetsPermissions) {
#ifdef _WIN32
    const fs::perms ownerOnly = fs::perms(0666);  // Windows has only the read-only attribute
    const fs::perms groupReadable = fs::perms(0666);
#else
    const fs::perms ownerOnly = fs::perms(0600);
    const fs::perms groupReadable = fs::perms(0640);
#endif
    const std::string probe = (targets / "probe").string();
    writeBytes(probe, "");  // a new file's permissions (0666 less the umask)
    for (const bool exists : {false, true}) {
        if (exists) {
            writeBytes(target, "old");
            fs::permissions(target, fs::perms(0640));
        }
        KpOFStream out(target.c_str(), KpOFStream::modeOut);
        const fs::path temporaryFile = out.getTemporaryPath();
        EXPECT_EQ(fs::status(temporaryFile).permissions(), ownerOnly);
        *out.getStream() << "new";
        EXPECT_TRUE(out.commit());
        EXPECT_FALSE(out.commit());  // once only
        EXPECT_EQ(readBytes(target), "new");
        EXPECT_EQ(fs::status(target).permissions(), exists ? groupReadable : fs::status(probe).permissions());
    }
}

TEST_F(SafeFileTest, KilledSaverLeavesTheCompleteOldOrNewDocument) {
    const long kills = fromEnvironment("KPXML_KILLS", 50);
    const long kilobytes = fromEnvironment("KPXML_KILL_KILOBYTES", 2048);
    const std::string documentA = (root / "a.xml").string(), documentB = (root / "b.xml").string();
    ASSERT_EQ(runSaver(documentA, "a", 1, kilobytes), 0);
    ASSERT_EQ(runSaver(documentB, "b", 1, kilobytes), 0);
    const std::string a = readBytes(documentA), b = readBytes(documentB);
    ASSERT_GT(a.size(), static_cast<std::size_t>(kilobytes) * 1024);
    ASSERT_EQ(b.size(), a.size());

    // How long the saver takes to start and to save, so that the kills fall on saves.
    const auto timed = [&](long saves) {
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(runSaver(target, "ab", saves, kilobytes), 0);
        return Clock::now() - start;
    };
    const Clock::duration twoSaves = timed(2), sixSaves = timed(6);
    const Clock::duration perSave = std::max<Clock::duration>((sixSaves - twoSaves) / 4, std::chrono::milliseconds(1));
    const Clock::duration startup = std::max<Clock::duration>(twoSaves - 2 * perSave, Clock::duration(0));
    const unsigned seed = std::random_device()();
    std::mt19937 random(seed);
    std::uniform_int_distribution<Clock::rep> during(0, 3 * perSave.count());

    long missing = 0, corrupt = 0, old = 0, changed = 0, leftBehind = 0;
    for (long kill = 0; kill < kills; ++kill) {
        const std::string before = readBytes(target);
        KpXml::test::ChildProcess saver;
        ASSERT_TRUE(saver.start(KPXML_SAVER, {target, kill % 2 == 0 ? "ab" : "ba", "0", std::to_string(kilobytes)}));
        std::this_thread::sleep_for(startup + Clock::duration(during(random)));
        saver.kill();
        saver.wait();
        const std::string after = readBytes(target);
        // A killed save leaves at most its temporary file, which has a "kpo" name (on Linux only
        // between the moment it is named and the rename).
        for (const std::string& name : leftOver()) {
            ++leftBehind;
            std::cout << "left behind: " << name << ", " << fs::file_size(targets / name) << " bytes\n";
            EXPECT_EQ(name.substr(0, 3), "kpo") << name;
            fs::remove(targets / name);
        }
        if (!fs::exists(target)) {
            ++missing;
        } else if (after != a && after != b) {
            ++corrupt;
        } else {
            ++(after == before ? old : changed);
        }
    }
    std::cout << "kills " << kills << " of saves of " << a.size() << " bytes (seed " << seed << "): " << missing
              << " missing, " << corrupt << " corrupt, " << old << " unchanged, " << changed << " changed, " << leftBehind
              << " files left behind\n";
    EXPECT_EQ(missing, 0);
    EXPECT_EQ(corrupt, 0);
}

TEST_F(SafeFileTest, TwoProcessesOrTwoThreadsSavingOneTargetLeaveOneCompleteDocument) {
    constexpr long saves = 200;
    const std::string documentA = (root / "a.xml").string(), documentB = (root / "b.xml").string();
    ASSERT_EQ(runSaver(documentA, "a", 1, 16), 0);
    ASSERT_EQ(runSaver(documentB, "b", 1, 16), 0);
    writeBytes(target, readBytes(documentA));
    const std::vector<std::string> expected{readBytes(documentA), readBytes(documentB)};

    // Runs save on two threads at once while the target's presence is watched.
    const auto watched = [&](const std::function<bool(char)>& save) {
        std::atomic<int> running{2};
        std::atomic<bool> failed{false};
        std::vector<std::thread> savers;
        for (const char letter : {'a', 'b'}) {
            savers.emplace_back([&, letter] {
                if (!save(letter)) failed = true;
                --running;
            });
        }
        long missing = 0;
        while (running > 0) missing += fs::exists(target) ? 0 : 1;
        for (std::thread& saver : savers) saver.join();
        EXPECT_FALSE(failed);
        EXPECT_EQ(missing, 0);
        EXPECT_NE(std::find(expected.begin(), expected.end(), readBytes(target)), expected.end());
        EXPECT_EQ(leftOver(), std::vector<std::string>{});
    };
    {
        SCOPED_TRACE("processes");
        watched([&](char letter) { return runSaver(target, std::string(1, letter), saves, 16) == 0; });
    }
    {
        SCOPED_TRACE("threads");
        const KpXmlTree a(*openIFStream(documentA.c_str())), b(*openIFStream(documentB.c_str()));
        watched([&](char letter) {
            bool all = true;
            for (long save = 0; save < saves; ++save) {
                KpOFStream out(target.c_str(), KpXmlTree::getOFStreamOpenMode());
                (letter == 'a' ? a : b).putToStream(*out.getStream(), true);
                all = out.commit() && all;
            }
            return all;
        });
    }
}

}  // namespace
