#ifndef KPXML_SUPPORT_SAVEFIXTURE_H
#define KPXML_SUPPORT_SAVEFIXTURE_H

// A fixture for tests that save files: each test gets a directory of its own for its targets
// (KPXML_SAVE_TARGET_DIRECTORY, when set, holds it instead, to pick the targets' file system) and
// another that the temporary directory points into, so that what a save leaves behind shows.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace KpXml::test {

class SaveFixture : public ::testing::Test {
protected:
    void SetUp() override {
        original = std::filesystem::temp_directory_path().string();
        const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        root = temporaryPath(name);
        const char* targetRoot = std::getenv("KPXML_SAVE_TARGET_DIRECTORY");
        targets = (targetRoot != nullptr ? std::filesystem::path(targetRoot) / ("kpxml_" + name) : root) / "targets";
        temporary = root / "tmp";
        std::filesystem::create_directories(targets);
        std::filesystem::create_directories(temporary);
        redirectTemporaryDirectory((temporary / "").string());
        target = (targets / "target.xml").string();
    }
    void TearDown() override {
        redirectTemporaryDirectory(original);
        std::error_code ignored;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(targets.parent_path(), ignored)) {
            setReadOnly(entry.path().string(), false);
        }
        std::filesystem::remove_all(targets.parent_path(), ignored);
        std::filesystem::remove_all(root, ignored);
    }
    // The names in directory, sorted; empty when it cannot be read.
    static std::vector<std::string> namesIn(const std::filesystem::path& directory) {
        std::vector<std::string> names;
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(directory, ignored)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    // The names in the temporary directory and in targets that are not in expected (sorted).
    std::vector<std::string> leftOver(const std::vector<std::string>& expected = {"target.xml"}) const {
        std::vector<std::string> left = namesIn(temporary);
        for (const std::string& name : namesIn(targets)) {
            if (std::find(expected.begin(), expected.end(), name) == expected.end()) left.push_back(name);
        }
        return left;
    }

    std::filesystem::path root, targets, temporary;
    std::string target, original;
};

}  // namespace KpXml::test

#endif  // KPXML_SUPPORT_SAVEFIXTURE_H
