// A test fixture with a fresh directory for the test's files, created before
// each test and removed with everything in it afterwards.
#ifndef QELSCRATCHDIRECTORY_H
#define QELSCRATCHDIRECTORY_H

#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

class QELScratchDirectoryTest : public ::testing::Test {
protected:
    // `prefix` names the directories in the temporary directory.
    explicit QELScratchDirectoryTest(const char* prefix) : prefix(prefix) { }

    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / (std::string(prefix) + "-XXXXXX")).string();
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        ASSERT_NE(mkdtemp(buffer.data()), nullptr);
        dir = buffer.data();
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }

    std::string path(const std::string& name) const { return dir + "/" + name; }

    // Writes `content` to the file `name` of the directory; returns its path.
    std::string writeFile(const std::string& name, const std::string& content) const
    {
        std::string p = path(name);
        std::ofstream(p, std::ios::binary) << content;
        return p;
    }

    const char* prefix;
    std::string dir;
};

#endif
