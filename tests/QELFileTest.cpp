// Tests of QELFile: paths, disk queries, streams, temporary names and the
// logical line reader getFullLine.
#include <gtest/gtest.h>

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "QELConfiguration.h"
#include "QELFile.h"
#include "QELFullLineModel.h"
#include "QELInvariants.h"

namespace {

std::string str(const QELString& s)
{
    return std::string(s.p, (size_t)s.len);
}

// Sets or unsets an environment variable for the life of the object.
class EnvGuard {
public:
    EnvGuard(const char* name, const char* value) : name_(name)
    {
        const char* old = getenv(name);
        hadOld_ = old != nullptr;
        if (hadOld_)
            old_ = old;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~EnvGuard()
    {
        if (hadOld_)
            setenv(name_.c_str(), old_.c_str(), 1);
        else
            unsetenv(name_.c_str());
    }

private:
    std::string name_, old_;
    bool hadOld_;
};

// A fresh scratch directory per test, removed with its files afterwards.
class QELFileDiskTest : public ::testing::Test {
protected:
    std::string dir;

    void SetUp() override
    {
        std::string pattern = ::testing::TempDir() + "qelfileXXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        ASSERT_NE(nullptr, mkdtemp(buffer.data()));
        dir = buffer.data();
    }
    void TearDown() override
    {
        if (DIR* d = opendir(dir.c_str())) {
            while (dirent* e = readdir(d)) {
                std::string name = e->d_name;
                if (name != "." && name != "..")
                    ::remove((dir + "/" + name).c_str());
            }
            closedir(d);
        }
        rmdir(dir.c_str());
    }
    std::string write(const std::string& name, const std::string& content)
    {
        std::string path = dir + "/" + name;
        std::ofstream out(path, std::ios::binary);
        out.write(content.data(), (std::streamsize)content.size());
        return path;
    }
    // Reads every logical line of content with the flags until end of file,
    // and `extra` more lines after it.
    std::vector<std::string> lines(const std::string& content, int flags, int extra = 0)
    {
        QELFile file(QELString(write("lines.txt", content).c_str()));
        EXPECT_TRUE(file.open(std::ios::in | std::ios::binary));
        std::vector<std::string> result;
        for (int guard = 0; guard < 100000; guard++) {
            result.push_back(str(file.getFullLine(flags)));
            if (file.stream.eof() && --extra < 0)
                break;
        }
        file.close();
        return result;
    }
};

typedef std::vector<std::string> Lines;

} // namespace

// ---------------------------------------------------------------------------
// Paths
// ---------------------------------------------------------------------------

TEST(QELFileTest, DefaultFileIsEmptyAndClosed)
{
    QELFile file;
    EXPECT_EQ(0, file.getPath().len);
    EXPECT_FALSE(file.stream.is_open());
    EXPECT_EQ(nullptr, file.converter);
    EXPECT_TRUE(file.isRelative());
    EXPECT_FALSE(file.isAbsolute());
    EXPECT_EQ("", str(file.getDataEncoding()));
}

TEST(QELFileTest, RelativePathIsCompletedFromPwd)
{
    EnvGuard pwd("PWD", "/home/u");
    struct Case {
        const char* given;
        const char* path;
    } cases[] = {
        {"data.txt", "/home/u/data.txt"},
        {"a/b", "/home/u/a/b"},
        {"../x", "/home/u/../x"},  // ".." is not resolved
        {"./y", "/home/u/./y"},
        {"/etc/z", "/etc/z"},      // already absolute
        {"", ""},                  // empty stays empty
    };
    for (const Case& c : cases) {
        QELFile file(QELString(c.given));
        EXPECT_EQ(c.path, str(file.getPath())) << c.given;
        QELFile assigned;
        assigned = QELString(c.given);
        EXPECT_EQ(c.path, str(assigned.getPath())) << c.given;
        EXPECT_TRUE(fileInvariantHolds(&file));
    }
}

TEST(QELFileTest, RelativePathWithoutPwdUsesDot)
{
    EnvGuard pwd("PWD", nullptr);
    EXPECT_EQ("./data.txt", str(QELFile(QELString("data.txt")).getPath()));
}

TEST(QELFileTest, PwdIsTakenAsItStands)
{
    EnvGuard pwd("PWD", "/w/");
    EXPECT_EQ("/w//f", str(QELFile(QELString("f")).getPath()));
}

TEST(QELFileTest, CopiesTakeThePathAsItStands)
{
    QELFile relative;
    relative.path = QELString("rel/name"); // set directly: not made absolute
    QELFile copy(relative);
    EXPECT_EQ("rel/name", str(copy.getPath()));
    EXPECT_FALSE(copy.stream.is_open());
    EXPECT_EQ(nullptr, copy.converter);

    QELFile target(QELString("/t"));
    target.setDataEncoding(QELString("UTF-8"));
    target = relative;
    EXPECT_EQ("rel/name", str(target.getPath()));
    EXPECT_EQ("UTF-8", str(target.getDataEncoding())); // keeps its converter
    QELFile& alias = target;
    target = alias; // self-assignment
    EXPECT_EQ("rel/name", str(target.getPath()));

    QELFile withConverter(QELString("/c"));
    withConverter.setDataEncoding(QELString("UTF-8"));
    QELFile copied(withConverter);
    EXPECT_EQ("", str(copied.getDataEncoding()));
}

TEST(QELFileTest, PathQueries)
{
    struct Case {
        const char* path;
        const char* name;
        const char* directory;
        const char* fileName;
        const char* extension;
    } cases[] = {
        {"/x/archive.tar.gz", "archive.tar.gz", "/x/", "archive.tar", "gz"},
        {"/a/b/c", "c", "/a/b/", "c", ""},
        {"/a/b/c/", "c", "/a/b/", "c", ""},     // trailing slash ignored
        {"/a/b/c///", "c", "/a/b/", "c", ""},
        {"/", "", "", "", ""},                  // a lone slash
        {"//", "", "", "", ""},
        {"/name", "name", "/", "name", ""},
        {"/.bashrc", ".bashrc", "/", "", "bashrc"}, // leading dot: empty file name
        {"/d/b.", "b.", "/d/", "b", ""},
        {"/d/.", ".", "/d/", "", ""},
        {"/d/..", "..", "/d/", ".", ""},
        {"/a.b/c", "c", "/a.b/", "c", ""},      // a dot in the directory
        {"/a//b//", "b", "/a//", "b", ""},
        {"a/b/", "b", "a/", "b", ""},           // relative paths, set directly
        {"abc.d", "abc.d", "", "abc", "d"},
        {"a/", "a", "", "a", ""},
        {"", "", "", "", ""},
    };
    for (const Case& c : cases) {
        QELFile file;
        file.path = QELString(c.path);
        EXPECT_EQ(c.name, str(file.getName())) << c.path;
        EXPECT_EQ(c.directory, str(file.getDirectory())) << c.path;
        EXPECT_EQ(c.fileName, str(file.getFileName())) << c.path;
        EXPECT_EQ(c.extension, str(file.getFileExtension())) << c.path;
        EXPECT_EQ(c.path[0] == '/', file.isAbsolute()) << c.path;
        EXPECT_EQ(c.path[0] != '/', file.isRelative()) << c.path;
    }
}

// ---------------------------------------------------------------------------
// Disk queries and streams
// ---------------------------------------------------------------------------

TEST_F(QELFileDiskTest, MissingPath)
{
    QELFile file(QELString((dir + "/none").c_str()));
    EXPECT_FALSE(file.exists());
    EXPECT_FALSE(file.isFile());
    EXPECT_FALSE(file.isDirectory());
    EXPECT_EQ(-1, file.getSize());
    EXPECT_FALSE(file.open(std::ios::in));
    EXPECT_TRUE(file.stream.fail());
    EXPECT_FALSE(file.open(std::ios::in)); // still failed
    EXPECT_TRUE(file.close());             // clears the state
    EXPECT_EQ("", str(file.getFullLine(0)));
    EXPECT_TRUE(file.remove());            // nothing to remove: still true
}

TEST_F(QELFileDiskTest, FileAndDirectory)
{
    QELFile file(QELString(write("f.txt", "12345").c_str()));
    EXPECT_TRUE(file.exists());
    EXPECT_TRUE(file.isFile());
    EXPECT_FALSE(file.isDirectory());
    EXPECT_EQ(5, file.getSize());
    QELFile directory(QELString(dir.c_str()));
    EXPECT_TRUE(directory.exists());
    EXPECT_FALSE(directory.isFile());
    EXPECT_TRUE(directory.isDirectory());
    QELFile empty(QELString(write("e", "").c_str()));
    EXPECT_EQ(0, empty.getSize());
}

TEST_F(QELFileDiskTest, TypeTestsLookAtSingleModeBits)
{
    // A socket (0xC000) has both bits: it counts as file and directory.
    std::string path = dir + "/s";
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    strcpy(address.sun_path, path.c_str());
    ASSERT_EQ(0, bind(fd, (sockaddr*)&address, sizeof address));
    QELFile socketFile(QELString(path.c_str()));
    EXPECT_TRUE(socketFile.exists());
    EXPECT_TRUE(socketFile.isFile());
    EXPECT_TRUE(socketFile.isDirectory());
    close(fd);
    // A FIFO (0x1000) and a character device (0x2000) have neither.
    ASSERT_EQ(0, mkfifo((dir + "/p").c_str(), 0600));
    QELFile fifo(QELString((dir + "/p").c_str()));
    EXPECT_TRUE(fifo.exists());
    EXPECT_FALSE(fifo.isFile());
    EXPECT_FALSE(fifo.isDirectory());
    QELFile null(QELString("/dev/null"));
    EXPECT_TRUE(null.exists());
    EXPECT_FALSE(null.isFile());
    EXPECT_FALSE(null.isDirectory());
}

TEST_F(QELFileDiskTest, WriteReturnsFalseOnSuccess)
{
    QELFile file(QELString((dir + "/w.bin").c_str()));
    EXPECT_TRUE(file.open(std::ios::out | std::ios::binary));
    EXPECT_TRUE(file.open(std::ios::in)); // already open: nothing done
    char data[] = "abc\0def";
    EXPECT_FALSE(file.write(data, 7));    // success is false (deliberate)
    EXPECT_TRUE(file.close());
    EXPECT_EQ(7, file.getSize());
    EXPECT_FALSE(file.stream.is_open());
    // Writing to a closed stream fails: true.
    EXPECT_TRUE(file.write(data, 3));
    EXPECT_TRUE(file.close());

    EXPECT_TRUE(file.open(std::ios::in | std::ios::binary));
    char in[16] = {0};
    EXPECT_EQ(4, file.read(in, 4));
    EXPECT_EQ(0, memcmp(in, "abc\0", 4));
    EXPECT_EQ(3, file.read(in, 10)); // short read at the end
    EXPECT_EQ(0, memcmp(in, "def", 3));
    EXPECT_EQ(0, file.read(in, 10));
    EXPECT_TRUE(file.stream.eof());
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(file.stream.eof());
    EXPECT_TRUE(file.close()); // closing twice
}

TEST(QELFileTest, CloseReportsAWriteTheDeviceRefused)
{
    QELFile full(QELString("/dev/full"));
    ASSERT_TRUE(full.open(std::ios::out));
    full << QELString("no room for this text");
    EXPECT_FALSE(full.close());
    EXPECT_FALSE(full.stream.is_open());
}

TEST_F(QELFileDiskTest, AppendAndTruncateModes)
{
    std::string path = write("m.txt", "one\n");
    QELFile file(QELString(path.c_str()));
    ASSERT_TRUE(file.open(std::ios::out | std::ios::app));
    file << QELString("two\n");
    ASSERT_TRUE(file.close());
    EXPECT_EQ(8, file.getSize());
    ASSERT_TRUE(file.open(std::ios::out | std::ios::trunc));
    ASSERT_TRUE(file.close());
    EXPECT_EQ(0, file.getSize());
}

TEST_F(QELFileDiskTest, RemoveClosesAndDeletes)
{
    QELFile file(QELString(write("r.txt", "x").c_str()));
    ASSERT_TRUE(file.open(std::ios::in));
    EXPECT_TRUE(file.remove());
    EXPECT_FALSE(file.stream.is_open());
    EXPECT_FALSE(file.exists());
    EXPECT_TRUE(file.remove());
}

namespace {
QELFile& newline(QELFile& file)
{
    file << QELString("\n");
    return file;
}
} // namespace

TEST_F(QELFileDiskTest, StreamOperatorsWriteTextAndManipulators)
{
    QELFile file(QELString((dir + "/o.txt").c_str()));
    ASSERT_TRUE(file.open(std::ios::out));
    QELString withNul("ab\0cd", 5); // only the text up to the terminator
    file << QELString("first") << newline << withNul << QELString("") << newline;
    ASSERT_TRUE(file.close());
    ASSERT_TRUE(file.open(std::ios::in));
    EXPECT_EQ("first", str(file.getFullLine(0)));
    EXPECT_EQ("ab", str(file.getFullLine(0)));
    EXPECT_EQ("", str(file.getFullLine(0)));
    EXPECT_TRUE(file.stream.eof());
}

TEST(QELFileTest, SetStdOutAndStdErrRedirectWrites)
{
    QELFile file;
    file.setStdOut();
    testing::internal::CaptureStdout();
    file << QELString("to stdout");
    char data[] = "+raw";
    EXPECT_FALSE(file.write(data, 4));
    std::cout.flush();
    EXPECT_EQ("to stdout+raw", testing::internal::GetCapturedStdout());

    QELFile err;
    err.setStdErr();
    testing::internal::CaptureStderr();
    err << QELString("to stderr");
    std::cerr.flush();
    EXPECT_EQ("to stderr", testing::internal::GetCapturedStderr());
}

TEST_F(QELFileDiskTest, AfterSetStdOutReadsNoLongerComeFromTheFile)
{
    QELFile file(QELString(write("in.txt", "first\nsecond\n").c_str()));
    ASSERT_TRUE(file.open(std::ios::in));
    EXPECT_EQ("first", str(file.getFullLine(0))); // the file's buffer now holds "second"
    file.setStdOut();
    EXPECT_TRUE(file.stream.is_open()); // the file buffer stays open
    EXPECT_EQ("", str(file.getFullLine(0)));
    EXPECT_TRUE(file.stream.eof());
    EXPECT_TRUE(file.close());
    EXPECT_FALSE(file.stream.is_open());
}

TEST(QELFileTest, DataEncodingIsRecorded)
{
    QELFile file;
    EXPECT_EQ("", str(file.getDataEncoding()));
    file.setDataEncoding(QELString("utf-8"));
    EXPECT_EQ("UTF-8", str(file.getDataEncoding()));
    file.setDataEncoding(QELString("ISO-8859-1"));
    EXPECT_EQ("ISO-8859-1", str(file.getDataEncoding()));
    file.setDataEncoding(QELString("no-such-charset"));
    EXPECT_NE(nullptr, file.converter);
    EXPECT_EQ("", str(file.getDataEncoding()));
}

TEST_F(QELFileDiskTest, TemporaryNames)
{
    EnvGuard tmpdir("TMPDIR", nullptr); // tempnam would prefer it
    QELString a = getTmpFileName(dir.c_str());
    QELString b = getTmpFileName(dir.c_str());
    EXPECT_EQ(0, strncmp(a.p, (dir + "/QEL").c_str(), dir.size() + 4)) << a.p;
    EXPECT_NE(str(a), str(b));
    EXPECT_FALSE(QELFile(a).exists());

    EnvGuard tmp("TMP", dir.c_str());
    EXPECT_EQ(dir + "/", str(getQELTempPath()));
    QELFile file = QELFile::makeTempFile(QELString("pre"));
    EXPECT_EQ(0, strncmp(file.getPath().p, (dir + "/pre").c_str(), dir.size() + 4))
        << file.getPath().p;
    EXPECT_FALSE(file.exists());
    EXPECT_FALSE(file.stream.is_open());
    ASSERT_TRUE(file.open(std::ios::out));
    ASSERT_TRUE(file.remove());
}

// ---------------------------------------------------------------------------
// getFullLine
// ---------------------------------------------------------------------------

TEST_F(QELFileDiskTest, PlainLines)
{
    EXPECT_EQ((Lines{"one", "two", ""}), lines("one\ntwo\n", 0));
    EXPECT_EQ((Lines{"one", "two"}), lines("one\ntwo", 0));       // no final line feed
    EXPECT_EQ((Lines{"", "", "x", ""}), lines("\n\nx\n", 0));     // empty lines
    EXPECT_EQ((Lines{""}), lines("", 0));                         // end of file at once
    EXPECT_EQ((Lines{"", "", ""}), lines("", 0, 2));              // and again
    EXPECT_EQ((Lines{"a\\tb \"q", ""}), lines("a\\tb \"q\n", 0)); // nothing interpreted
}

TEST_F(QELFileDiskTest, CarriageReturnBeforeLineFeedGoes)
{
    EXPECT_EQ((Lines{"one", "two", ""}), lines("one\r\ntwo\r\n", 0));
    EXPECT_EQ((Lines{"a\rb", ""}), lines("a\rb\n", 0));   // inside the line: kept
    EXPECT_EQ((Lines{"a\r", ""}), lines("a\r\r\n", 0));   // only one goes
    EXPECT_EQ((Lines{"x"}), lines("x\r", 0));             // also at end of file
    EXPECT_EQ((Lines{"", ""}), lines("\r\n", 0));
}

TEST_F(QELFileDiskTest, NulBytesEndTheText)
{
    // The line is read whole; its text ends at the first NUL.
    EXPECT_EQ((Lines{"ab", "xy", ""}), lines(std::string("ab\0cd\nxy\n", 9), 0));
    EXPECT_EQ((Lines{"", "z"}), lines(std::string("\0\nz", 3), 0));
    // A NUL anywhere in a line, before and after the line feed of the next.
    for (size_t at = 0; at < 70; at++) {
        std::string line(70, 'n');
        line[at] = '\0';
        std::string next(40, 'm');
        EXPECT_EQ((Lines{line.substr(0, at), next, ""}), lines(line + "\n" + next + "\n", 0)) << at;
        EXPECT_EQ((Lines{next, line.substr(0, at), ""}), lines(next + "\n" + line + "\n", 0)) << at;
    }
}

TEST_F(QELFileDiskTest, BackslashContinuation0x01)
{
    EXPECT_EQ((Lines{"a\nb", "c", ""}), lines("a\\\nb\nc\n", 0x01));
    EXPECT_EQ((Lines{"a\\b", ""}), lines("a\\\\b\n", 0x01));      // pair -> one
    EXPECT_EQ((Lines{"a\\", "b", ""}), lines("a\\\\\nb\n", 0x01)); // pair at the end: no continuation
    EXPECT_EQ((Lines{"a\nb", ""}), lines("a\\\r\nb\r\n", 0x01));  // before CR LF too
    EXPECT_EQ((Lines{"a\n"}), lines("a\\", 0x01));               // at end of file
    EXPECT_EQ((Lines{"a\n"}), lines("a\\\n", 0x01));          // end of file after the line feed
    EXPECT_EQ((Lines{"a\\", ""}), lines("a\\\n", 0));             // without the flag
}

TEST_F(QELFileDiskTest, BackslashJoin0x02)
{
    EXPECT_EQ((Lines{"a\nb", ""}), lines("a\\\nb\n", 0x02));
    EXPECT_EQ((Lines{"ab", ""}), lines("a\\\\\nb\n", 0x02));      // both dropped, continues
    EXPECT_EQ((Lines{"a\\\\b", ""}), lines("a\\\\b\n", 0x02));    // inside: kept
    EXPECT_EQ((Lines{"a\\b", ""}), lines("a\\\\\\\nb\n", 0x02));  // three: last two go
    EXPECT_EQ((Lines{"a\nb", ""}), lines("a\\\nb\n", 0x03));      // 0x01 wins
}

TEST_F(QELFileDiskTest, QuotedLineContinues0x04)
{
    EXPECT_EQ((Lines{"say \"hello\nworld\" done", ""}),
              lines("say \"hello\nworld\" done\n", 0x04));
    EXPECT_EQ((Lines{"say \"hello", "world\" done", ""}),
              lines("say \"hello\nworld\" done\n", 0));
    EXPECT_EQ((Lines{"\"a\n\nb\"", ""}), lines("\"a\n\nb\"\n", 0x04));
    // End of file inside quotes: the empty last line is joined too.
    EXPECT_EQ((Lines{"\"open\n\n"}), lines("\"open\n", 0x04));
    EXPECT_EQ((Lines{"\"open\n"}), lines("\"open", 0x04));
    EXPECT_EQ((Lines{"\"\"", ""}), lines("\"\"\n", 0x04));        // closed again
}

TEST_F(QELFileDiskTest, TripleQuotes0x08)
{
    // Without 0x08 three quotes toggle three times: the line stays open.
    EXPECT_EQ((Lines{"\"\"\"x\n\"y", ""}), lines("\"\"\"x\n\"y\n", 0x04));
    EXPECT_EQ((Lines{"\"\"\"x", "\"y\"", ""}), lines("\"\"\"x\n\"y\"\n", 0x0C));
    // The fourth and fifth quotes toggle again.
    EXPECT_EQ((Lines{"\"\"\"\"\"", ""}), lines("\"\"\"\"\"\n", 0x0C));
}

TEST_F(QELFileDiskTest, EscapedQuotes0x10)
{
    EXPECT_EQ((Lines{"a\"b", ""}), lines("a\\\"b\n", 0x10));
    EXPECT_EQ((Lines{"a\\\"b", ""}), lines("a\\\"b\n", 0));
    EXPECT_EQ((Lines{"\"a\"b\"", ""}), lines("\"a\\\"b\"\n", 0x14)); // does not toggle
    EXPECT_EQ((Lines{"a\\b", ""}), lines("a\\\\b\n", 0x10));
    // An escaped quote starts no run: the two quotes after it toggle twice,
    // so the line is not left open (with 0x08 they would be a third one).
    EXPECT_EQ((Lines{"a\"\"\"b", ""}), lines("a\\\"\"\"b\n", 0x1C));
    // Flags without a meaning for backslashes keep a pair as two.
    EXPECT_EQ((Lines{"\"a\\\\b\"", ""}), lines("\"a\\\\b\"\n", 0x04));
    EXPECT_EQ((Lines{"a\\\\b", ""}), lines(" a\\\\b \n", 0x40));
}

TEST_F(QELFileDiskTest, EscapeSequences0x20)
{
    EXPECT_EQ((Lines{"a\tb", ""}), lines("a\\tb\n", 0x20));
    EXPECT_EQ((Lines{"a\\tb", ""}), lines("a\\tb\n", 0));
    EXPECT_EQ((Lines{std::string("\a\b\f\n\r\t\v"), ""}),
              lines("\\a\\b\\f\\n\\r\\t\\v\n", 0x20));
    EXPECT_EQ((Lines{"\\x\\", ""}), lines("\\x\\\n", 0x20));      // other letters kept
    EXPECT_EQ((Lines{"\\t", ""}), lines("\\\\t\n", 0x20));        // pair, then a letter
    EXPECT_EQ((Lines{"tab\t", ""}), lines("tab\\t\n", 0x20));
}

TEST_F(QELFileDiskTest, Trim0x40)
{
    EXPECT_EQ((Lines{"a b", ""}), lines(" \t a b \t\r\n", 0x40));
    EXPECT_EQ((Lines{"", "x", ""}), lines("   \n\tx\n", 0x40));
    // Skipping goes on across chunks while nothing else came.
    EXPECT_EQ((Lines{"b", ""}), lines(std::string(2500, ' ') + "b\n", 0x40));
    // A backslash ends it: the next physical line keeps its blanks.
    EXPECT_EQ((Lines{"\n  b", ""}), lines("  \\\n  b\n", 0x41));
    // Bytes 0x80 and above are not blanks.
    EXPECT_EQ((Lines{"\xc3\xa9", ""}), lines(" \xc3\xa9 \n", 0x40));
}

TEST_F(QELFileDiskTest, LongLinesComeBackWhole)
{
    std::string line3000;
    for (int i = 0; i < 3000; i++)
        line3000 += (char)('a' + i % 26);
    EXPECT_EQ((Lines{line3000, "x", ""}), lines(line3000 + "\nx\n", 0));
    EXPECT_EQ((Lines{line3000, "x", ""}), lines(line3000 + "\r\nx\n", 0));
    EXPECT_EQ((Lines{line3000}), lines(line3000, 0));
    for (size_t n : {1022, 1023, 1024, 2045, 2046, 2047, 3069, 100000}) {
        std::string line(n, 'q');
        EXPECT_EQ((Lines{line, "y", ""}), lines(line + "\ny\n", 0)) << n;
        EXPECT_EQ((Lines{line, "y", ""}), lines(line + "\r\ny\n", 0)) << n;
        EXPECT_EQ((Lines{line + "\nz", ""}), lines(line + "\\\nz\n", 0x01)) << n;
        EXPECT_EQ((Lines{line}), lines(line, 0)) << n;
        EXPECT_EQ((Lines{line}), lines("  " + line + "  ", 0x40)) << n;
    }
}

// ---------------------------------------------------------------------------
// getFullLine against a model that follows the rules one character at a time
// over a simulated stream with the standard get semantics.
// ---------------------------------------------------------------------------

namespace {

struct ModelStream {
    std::string data;
    size_t at = 0;
    bool eof = false, fail = false;
    std::streamsize gcount = 0;

    // istream::get(buffer, 1024, '\n'): at most 1023 characters; eof when
    // the end is seen; fail when nothing was stored.
    std::string getChunk()
    {
        std::string chunk;
        gcount = 0;
        if (eof || fail) {
            fail = true;
            return chunk;
        }
        while (chunk.size() < FullLineModel::FULL_CHUNK && at < data.size() && data[at] != '\n')
            chunk += data[at++];
        if (at == data.size())
            eof = true;
        if (chunk.empty())
            fail = true;
        gcount = (std::streamsize)chunk.size();
        return chunk;
    }
    // istream::get()
    void getChar()
    {
        if (eof || fail) {
            fail = true;
            return;
        }
        if (at == data.size()) {
            eof = fail = true;
            return;
        }
        at++;
    }
    void clear() { eof = fail = false; }
};

std::string modelFullLine(ModelStream& st, int flags)
{
    FullLineModel model(flags);
    for (;;) {
        std::string chunk = st.getChunk();
        const bool lineEnded = chunk.size() < FullLineModel::FULL_CHUNK;
        if (lineEnded) {
            if (st.gcount == 0 && st.fail) {
                st.clear();
                st.getChar();
                chunk.clear();
            } else {
                st.getChar();
            }
        }
        model.take(chunk.data(), chunk.size());
        if (model.ends(lineEnded) || st.eof)
            break;
    }
    return model.result();
}

// Random content rich in the characters the rules care about, with lines
// around the chunk boundaries.
std::string randomContent(std::mt19937& rng)
{
    static const char interesting[] = "\"\\abfnrtvx \t\r\n";
    std::string s;
    const int pieces = 1 + (int)(rng() % 60);
    for (int p = 0; p < pieces; p++) {
        switch (rng() % 10) {
        case 8:
        case 9: // a short line of a few interesting characters
            for (int i = (int)(rng() % 5); i > 0; i--)
                s += interesting[rng() % (sizeof interesting - 1)];
            s += rng() % 4 ? "\n" : "\r\n";
            break;
        case 0: { // a long run, near a multiple of 1023
            size_t n = 1023 * (1 + rng() % 3) - 3 + rng() % 7;
            char c = (char)('A' + rng() % 26);
            s += std::string(n, c);
            break;
        }
        case 1: // any bytes
            for (int i = (int)(rng() % 20); i > 0; i--)
                s += (char)(rng() % 256);
            break;
        default: // the interesting characters
            for (int i = (int)(rng() % 30); i > 0; i--)
                s += interesting[rng() % (sizeof interesting - 1)];
        }
        if (rng() % 3 == 0)
            s += rng() % 2 ? "\n" : "\r\n";
    }
    return s;
}

} // namespace

TEST_F(QELFileDiskTest, RandomFilesMatchModel)
{
    std::mt19937 rng(5200);
    int compared = 0;
    for (int round = 0; round < 1500; round++) {
        std::string content = randomContent(rng);
        const int fixedFlags = (int)(rng() % 128);
        const bool mixFlags = rng() % 4 == 0;
        std::string path = write("random.bin", content);
        QELFile file(QELString(path.c_str()));
        ASSERT_TRUE(file.open(std::ios::in | std::ios::binary));
        ModelStream model;
        model.data = content;
        int afterEnd = 0;
        for (int call = 0; call < 100000 && afterEnd < 2; call++) {
            const int flags = mixFlags ? (int)(rng() % 128) : fixedFlags;
            std::string expected = modelFullLine(model, flags);
            QELString got = file.getFullLine(flags);
            ASSERT_TRUE(stringInvariantHolds(&got));
            ASSERT_EQ(expected, str(got))
                << "round " << round << " call " << call << " flags " << flags;
            ASSERT_EQ(model.eof, file.stream.eof()) << "round " << round << " call " << call;
            ASSERT_EQ(model.fail, file.stream.fail()) << "round " << round << " call " << call;
            compared++;
            if (model.eof)
                afterEnd++;
        }
        file.close();
    }
    EXPECT_GT(compared, 5000);
}
