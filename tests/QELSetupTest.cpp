// Tests of QELSetup: reading, querying, changing, merging and writing a
// setup document, and every kind of bad file.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>

#include "QELScratchDirectory.h"
#include "QELSetup.h"

XERCES_CPP_NAMESPACE_USE

namespace {

// Each test gets a fresh directory for its files, removed afterwards.
class QELSetupTest : public QELScratchDirectoryTest {
protected:
    QELSetupTest() : QELScratchDirectoryTest("qelsetup") {}

    static std::string readFile(const std::string& p)
    {
        std::ifstream in(p, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
};

std::string value(QELSetup& setup, const char* key)
{
    return setup.getValue(QELString(key)).chars();
}

const char SAMPLE[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<Setup>\n"
    "  <Directory>\n"
    "    <Home>/opt/q</Home>\n"
    "    <Bin>/opt/q/bin</Bin>\n"
    "  </Directory>\n"
    "  <Log><LogLevel> 3 </LogLevel></Log>\n"
    "  <Empty></Empty>\n"
    "  <SelfClosed/>\n"
    "  <Java><RunTime><Options>-Xmx1g\n-Dx=1</Options></RunTime></Java>\n"
    "  <Escaped>a &lt;b&gt; &amp; &quot;c&quot;</Escaped>\n"
    "  <Mixed>x<!-- note -->y<![CDATA[<z>]]></Mixed>\n"
    "</Setup>\n";

// --- Construction and reading ---

TEST_F(QELSetupTest, ConstructionReadsNothing)
{
    QELSetup setup(QELString(path("QELSetup.xml").c_str()));
    EXPECT_STREQ(setup.fileName.chars(), path("QELSetup.xml").c_str());
    EXPECT_EQ(setup.document, nullptr);
    EXPECT_EQ(setup.parser, nullptr);
    EXPECT_STREQ(setup.getValue(QELString("Directory/Home")).chars(), "");
    EXPECT_EQ(setup.findNode(QELString("Directory")), nullptr);
}

TEST_F(QELSetupTest, MissingFileIsNotRead)
{
    QELSetup setup(QELString(path("absent.xml").c_str()));
    EXPECT_FALSE(setup.read());
    EXPECT_EQ(setup.document, nullptr);
    EXPECT_EQ(setup.parser, nullptr);
    EXPECT_EQ(value(setup, "Directory/Home"), "");
    EXPECT_FALSE(setup.setValue(QELString("Directory/Home"), QELString("x")));
    EXPECT_FALSE(setup.write());
    EXPECT_FALSE(std::filesystem::exists(path("absent.xml")));
}

TEST_F(QELSetupTest, ValuesAreTheElementsTextContent)
{
    QELSetup setup(QELString(writeFile("QELSetup.xml", SAMPLE).c_str()));
    ASSERT_TRUE(setup.read());
    EXPECT_NE(setup.document, nullptr);
    EXPECT_NE(setup.parser, nullptr);
    struct Row {
        const char* key;
        const char* value;
    };
    const Row rows[] = {
        { "Directory/Home", "/opt/q" },
        { "Directory/Bin", "/opt/q/bin" },
        { "Log/LogLevel", " 3 " },                         // blanks kept
        { "Java/RunTime/Options", "-Xmx1g\n-Dx=1" },       // line breaks kept
        { "Empty", "" },
        { "SelfClosed", "" },
        { "Escaped", "a <b> & \"c\"" },                    // entities resolved
        { "Mixed", "xy<z>" },                              // comments left out, CDATA kept
        { "Directory", "\n    /opt/q\n    /opt/q/bin\n  " }, // all text below, white space too
        { "Log", " 3 " },
        { "Directory/Temp", "" },                          // no such element
        { "directory/home", "" },                          // names match exactly
        { "Directory/Home/Deeper", "" },
    };
    for (const Row& row : rows)
        EXPECT_EQ(value(setup, row.key), row.value) << row.key;
}

TEST_F(QELSetupTest, PathsWithEmptyPiecesFindNothing)
{
    QELSetup setup(QELString(writeFile("QELSetup.xml", SAMPLE).c_str()));
    ASSERT_TRUE(setup.read());
    const char* paths[] = {
        "", "/", "/Directory/Home", "Directory/", "Directory//Home", "Setup", "Setup/Directory", "Directory/Home/",
    };
    for (const char* p : paths) {
        EXPECT_EQ(setup.findNode(QELString(p)), nullptr) << "[" << p << "]";
        EXPECT_EQ(value(setup, p), "") << "[" << p << "]";
        EXPECT_FALSE(setup.setValue(QELString(p), QELString("v"))) << "[" << p << "]";
    }
    DOMNode* home = setup.findNode(QELString("Directory/Home"));
    ASSERT_NE(home, nullptr);
    EXPECT_EQ(QELString(reinterpret_cast<const uchar*>(home->getNodeName())), "Home");
}

TEST_F(QELSetupTest, FindSubNodeGivesTheFirstChildOfThatName)
{
    QELSetup setup(QELString(writeFile("QELSetup.xml",
        "<Setup><A>1</A><B>2</B><A>3</A></Setup>").c_str()));
    ASSERT_TRUE(setup.read());
    EXPECT_EQ(setup.findSubNode(nullptr, QELString("Setup")), nullptr);
    DOMNode* root = setup.findSubNode(setup.document, QELString("Setup"));
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root, setup.document->getDocumentElement());
    DOMNode* a = setup.findSubNode(root, QELString("A"));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a, root->getFirstChild());
    EXPECT_EQ(setup.findSubNode(root, QELString("C")), nullptr);
    EXPECT_EQ(setup.findSubNode(root, QELString("")), nullptr);
    EXPECT_EQ(setup.findSubNode(root, QELString("a")), nullptr);
}

TEST_F(QELSetupTest, SiblingsOfTheSameNameUseTheFirst)
{
    std::string file = writeFile("QELSetup.xml", "<Setup><A><B>1</B><B>2</B></A><A><B>3</B></A></Setup>");
    {
        QELSetup setup(QELString(file.c_str()));
        ASSERT_TRUE(setup.read());
        EXPECT_EQ(value(setup, "A/B"), "1");
        EXPECT_TRUE(setup.setValue(QELString("A/B"), QELString("9")));
        EXPECT_EQ(value(setup, "A/B"), "9");
        EXPECT_EQ(value(setup, "A"), "92");
        ASSERT_TRUE(setup.write());
    }
    std::string written = readFile(file);
    EXPECT_NE(written.find("<A><B>9</B><B>2</B></A><A><B>3</B></A>"), std::string::npos) << written;
}

TEST_F(QELSetupTest, RootNotNamedSetupReadsButHoldsNoValue)
{
    const char* documents[] = {
        "<Config><Directory><Home>/x</Home></Directory></Config>",
        "<setup><Directory><Home>/x</Home></Directory></setup>",
    };
    for (const char* content : documents) {
        QELSetup setup(QELString(writeFile("QELSetup.xml", content).c_str()));
        EXPECT_TRUE(setup.read()) << content;
        EXPECT_NE(setup.document, nullptr);
        EXPECT_EQ(value(setup, "Directory/Home"), "") << content;
        EXPECT_EQ(value(setup, "Directory"), "") << content;
        EXPECT_FALSE(setup.setValue(QELString("Directory/Home"), QELString("v"))) << content;
        EXPECT_EQ(setup.findNode(QELString("Directory")), nullptr);
    }
}

// --- Changing values ---

TEST_F(QELSetupTest, SetValueReplacesEveryChildByOneText)
{
    QELSetup setup(QELString(writeFile("QELSetup.xml", SAMPLE).c_str()));
    ASSERT_TRUE(setup.read());
    EXPECT_TRUE(setup.setValue(QELString("Directory"), QELString("flat")));
    EXPECT_EQ(value(setup, "Directory"), "flat");
    EXPECT_EQ(setup.findNode(QELString("Directory/Home")), nullptr);
    DOMNode* directory = setup.findNode(QELString("Directory"));
    ASSERT_NE(directory, nullptr);
    ASSERT_NE(directory->getFirstChild(), nullptr);
    EXPECT_EQ(directory->getFirstChild(), directory->getLastChild());
    EXPECT_EQ(directory->getFirstChild()->getNodeType(), DOMNode::TEXT_NODE);
    // An empty value leaves the element empty.
    EXPECT_TRUE(setup.setValue(QELString("Log/LogLevel"), QELString("")));
    EXPECT_EQ(value(setup, "Log/LogLevel"), "");
}

TEST_F(QELSetupTest, SetValueNeverCreatesElements)
{
    QELSetup setup(QELString(writeFile("QELSetup.xml", SAMPLE).c_str()));
    ASSERT_TRUE(setup.read());
    EXPECT_FALSE(setup.setValue(QELString("Directory/Temp"), QELString("/t")));
    EXPECT_FALSE(setup.setValue(QELString("New/Key"), QELString("v")));
    EXPECT_EQ(setup.findNode(QELString("Directory/Temp")), nullptr);
    EXPECT_EQ(setup.findNode(QELString("New")), nullptr);
    EXPECT_EQ(value(setup, "Directory/Home"), "/opt/q");
}

TEST_F(QELSetupTest, TextRoundTripsThroughTheDocumentAndTheFile)
{
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    const char* values[] = {
        "caf\xc3\xa9 \xe2\x82\xac \xf0\x9d\x84\x9e", // é, €, and a character beyond 16 bits
        "<tag> & \"quotes\" 'apostrophes' ]]>",
        "  leading and trailing  ",
        "line one\nline two\n",
        "tab\there",
    };
    for (const char* v : values) {
        {
            QELSetup setup(QELString(file.c_str()));
            ASSERT_TRUE(setup.read());
            ASSERT_TRUE(setup.setValue(QELString("Directory/Home"), QELString(v)));
            EXPECT_EQ(value(setup, "Directory/Home"), v);
            ASSERT_TRUE(setup.write());
        }
        QELSetup again(QELString(file.c_str()));
        ASSERT_TRUE(again.read());
        EXPECT_EQ(value(again, "Directory/Home"), v);
        EXPECT_EQ(value(again, "Directory/Bin"), "/opt/q/bin");
        EXPECT_EQ(value(again, "Log/LogLevel"), " 3 ");
    }
}

// --- Writing ---

TEST_F(QELSetupTest, WriteSerialisesTheWholeDocument)
{
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    QELSetup setup(QELString(file.c_str()));
    ASSERT_TRUE(setup.read());
    ASSERT_TRUE(setup.setValue(QELString("Log/LogLevel"), QELString("6")));
    ASSERT_TRUE(setup.write());
    std::string written = readFile(file);
    EXPECT_EQ(written.rfind("<?xml", 0), 0u) << written;
    EXPECT_NE(written.find("<LogLevel>6</LogLevel>"), std::string::npos) << written;
    EXPECT_NE(written.find("<Home>/opt/q</Home>"), std::string::npos) << written;
    EXPECT_NE(written.find("<!-- note -->"), std::string::npos) << written;
    EXPECT_EQ(written.find(" 3 "), std::string::npos) << written;
    // Writing again without a change gives the same file.
    ASSERT_TRUE(setup.write());
    EXPECT_EQ(readFile(file), written);
}

TEST_F(QELSetupTest, WriteWithoutADocumentFailsAndLeavesTheFile)
{
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    QELSetup unread(QELString(file.c_str()));
    EXPECT_FALSE(unread.write());
    EXPECT_EQ(readFile(file), SAMPLE);

    std::string bad = writeFile("bad.xml", "<Setup><Unclosed></Setup>");
    QELSetup broken(QELString(bad.c_str()));
    EXPECT_FALSE(broken.read());
    EXPECT_FALSE(broken.write());
    EXPECT_EQ(readFile(bad), "<Setup><Unclosed></Setup>");
}

TEST_F(QELSetupTest, WriteToAFileThatCannotBeOpenedFails)
{
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    QELSetup setup(QELString(file.c_str()));
    ASSERT_TRUE(setup.read());
    // The file's place is taken by a directory.
    ASSERT_EQ(std::remove(file.c_str()), 0);
    ASSERT_EQ(mkdir(file.c_str(), 0700), 0);
    EXPECT_FALSE(setup.write());
    EXPECT_TRUE(std::filesystem::is_directory(file));
    // The document is still there.
    EXPECT_EQ(value(setup, "Directory/Home"), "/opt/q");
}

// A file that cannot be made beside the target (its directory is missing)
// fails the write before any byte is written anywhere (nothing reaches the
// standard output, say).
TEST_F(QELSetupTest, WriteIntoAMissingDirectoryFailsWithoutWritingElsewhere)
{
    std::string gone = path("gone");
    ASSERT_EQ(mkdir(gone.c_str(), 0700), 0);
    std::string file = writeFile("gone/QELSetup.xml", SAMPLE);
    QELSetup setup(QELString(file.c_str()));
    ASSERT_TRUE(setup.read());
    ASSERT_EQ(std::remove(file.c_str()), 0);
    ASSERT_EQ(rmdir(gone.c_str()), 0);
    fflush(stdout);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(setup.write());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(std::filesystem::exists(gone));
}

TEST_F(QELSetupTest, WriteRecreatesAFileRemovedSinceTheRead)
{
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    QELSetup setup(QELString(file.c_str()));
    ASSERT_TRUE(setup.read());
    ASSERT_EQ(std::remove(file.c_str()), 0);
    ASSERT_TRUE(setup.setValue(QELString("Directory/Home"), QELString("/srv/new")));
    EXPECT_TRUE(setup.write());
    QELSetup again(QELString(file.c_str()));
    ASSERT_TRUE(again.read());
    EXPECT_EQ(value(again, "Directory/Home"), "/srv/new");
}

// The new content is written beside the file under a name made of the file's
// name, the process id and a counter; when a hundred such names in a row are
// taken, the write gives up and the file keeps its content. Run in a fresh
// process, whose counter starts at 1.
TEST_F(QELSetupTest, WriteGivesUpAfterAHundredTakenTemporaryNames)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    EXPECT_EXIT(
        {
            QELSetup setup(QELString(file.c_str()));
            if (!setup.read())
                _exit(3);
            for (int n = 1; n <= 100; n++)
                std::ofstream(file + ".tmp-" + std::to_string(getpid()) + "-" + std::to_string(n)) << "taken";
            setup.setValue(QELString("Directory/Home"), QELString("/srv/new"));
            const bool written = setup.write();
            _exit(written ? 1 : readFile(file) != SAMPLE ? 2 : 0);
        },
        ::testing::ExitedWithCode(0), "");
}

// --- Merging ---

TEST_F(QELSetupTest, SetFromCopiesSharedLeavesAndIgnoresExtraKeys)
{
    QELSetup target(QELString(writeFile("target.xml",
        "<Setup><A><B>b0</B><C>c0</C></A><D>d0</D><F><G>g0</G></F></Setup>").c_str()));
    QELSetup source(QELString(writeFile("source.xml",
        "<Setup><A><B>b1</B><X>x1</X></A><D>d1</D><E>e1</E><F>f1</F></Setup>").c_str()));
    ASSERT_TRUE(target.read());
    ASSERT_TRUE(source.read());
    target.setFrom(&source);
    EXPECT_EQ(value(target, "A/B"), "b1"); // in both: taken
    EXPECT_EQ(value(target, "A/C"), "c0"); // only here: kept
    EXPECT_EQ(value(target, "D"), "d1");
    EXPECT_EQ(target.findNode(QELString("A/X")), nullptr); // only in the source: ignored
    EXPECT_EQ(target.findNode(QELString("E")), nullptr);
    // A leaf of the source replaces the whole element here.
    EXPECT_EQ(value(target, "F"), "f1");
    EXPECT_EQ(target.findNode(QELString("F/G")), nullptr);
    // The source is unchanged.
    EXPECT_EQ(value(source, "A/B"), "b1");
    EXPECT_EQ(value(source, "E"), "e1");
}

TEST_F(QELSetupTest, SetFromBelowALeafOfThisDocumentDropsTheValue)
{
    QELSetup target(QELString(writeFile("target.xml", "<Setup><A><B>b0</B></A></Setup>").c_str()));
    QELSetup source(QELString(writeFile("source.xml", "<Setup><A><B><C>c1</C></B></A></Setup>").c_str()));
    ASSERT_TRUE(target.read());
    ASSERT_TRUE(source.read());
    target.setFrom(&source);
    EXPECT_EQ(value(target, "A/B"), "b0");
    EXPECT_EQ(target.findNode(QELString("A/B/C")), nullptr);
}

TEST_F(QELSetupTest, SetFromAnUnreadOrMissingSourceChangesNothing)
{
    std::string file = writeFile("target.xml", SAMPLE);
    QELSetup target(QELString(file.c_str()));
    ASSERT_TRUE(target.read());
    QELSetup unread(QELString(file.c_str()));
    target.setFrom(&unread);
    target.setFrom(static_cast<QELSetup*>(nullptr));
    target.setFrom(nullptr, QELString("Directory"), &unread); // no node
    target.setFrom(target.findNode(QELString("Directory")), QELString("Directory"), nullptr); // no source
    QELSetup otherRoot(QELString(writeFile("other.xml", "<Config><Directory><Home>/y</Home></Directory></Config>").c_str()));
    ASSERT_TRUE(otherRoot.read());
    target.setFrom(&otherRoot);
    EXPECT_EQ(value(target, "Directory/Home"), "/opt/q");
    EXPECT_EQ(value(target, "Log/LogLevel"), " 3 ");
}

TEST_F(QELSetupTest, SetFromItselfKeepsEveryValue)
{
    QELSetup setup(QELString(writeFile("QELSetup.xml", SAMPLE).c_str()));
    ASSERT_TRUE(setup.read());
    setup.setFrom(&setup);
    EXPECT_EQ(value(setup, "Directory/Home"), "/opt/q");
    EXPECT_EQ(value(setup, "Log/LogLevel"), " 3 ");
    EXPECT_EQ(value(setup, "Java/RunTime/Options"), "-Xmx1g\n-Dx=1");
}

// --- Bad files ---

TEST_F(QELSetupTest, BadFilesAreReportedWithoutThrowing)
{
    struct Row {
        const char* what;
        std::string content;
    };
    const Row rows[] = {
        { "empty", "" },
        { "only blanks", "   \n  " },
        { "truncated", "<?xml version=\"1.0\"?>\n<Setup><Directory><Home>/opt/q</Ho" },
        { "unclosed", "<Setup><Directory><Home>/opt/q</Home></Directory>" },
        { "plain text", "Directory/Home = /opt/q\n" },
        { "binary", std::string("\x00\x01\xff\xfe\x02\x03", 6) },
        { "two roots", "<Setup></Setup><Setup></Setup>" },
        { "bad UTF-8", "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Setup><Home>caf\xe9</Home></Setup>" },
        { "unknown encoding", "<?xml version=\"1.0\" encoding=\"X-NO-SUCH-CHARSET\"?><Setup><Home>x</Home></Setup>" },
        { "undefined entity", "<Setup><Home>&nothere;</Home></Setup>" },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        std::string file = writeFile("QELSetup.xml", row.content);
        QELSetup setup(QELString(file.c_str()));
        bool read = true;
        EXPECT_NO_THROW(read = setup.read());
        EXPECT_FALSE(read);
        EXPECT_EQ(setup.document, nullptr);
        EXPECT_EQ(value(setup, "Home"), "");
        EXPECT_EQ(value(setup, "Directory/Home"), "");
        EXPECT_FALSE(setup.setValue(QELString("Home"), QELString("v")));
        EXPECT_FALSE(setup.write());
        EXPECT_EQ(readFile(file), row.content);
    }
}

namespace {

// A document whose entity `e<levels>` expands `fanOut`^levels copies of a
// ten-byte text, referenced once from Setup/Home.
std::string nestedEntities(int levels, int fanOut)
{
    std::string doctype = "<!DOCTYPE Setup [<!ENTITY e0 \"0123456789\">";
    for (int level = 1; level <= levels; level++) {
        std::string body;
        for (int i = 0; i < fanOut; i++)
            body += "&e" + std::to_string(level - 1) + ";";
        doctype += "<!ENTITY e" + std::to_string(level) + " \"" + body + "\">";
    }
    return doctype + "]><Setup><Home>&e" + std::to_string(levels) + ";</Home></Setup>";
}

} // namespace

TEST_F(QELSetupTest, EntitiesAreExpandedInValues)
{
    QELSetup setup(QELString(writeFile("QELSetup.xml", nestedEntities(2, 3)).c_str()));
    ASSERT_TRUE(setup.read());
    // The document type node is also a child of the document named "Setup",
    // and the first one, so paths from the document find nothing here; the
    // root element is asked directly.
    EXPECT_EQ(setup.findSubNode(setup.document, QELString("Setup")), setup.document->getDoctype());
    EXPECT_EQ(value(setup, "Home"), "");
    xercesc::DOMNode* home = setup.findSubNode(setup.document->getDocumentElement(), QELString("Home"));
    ASSERT_NE(home, nullptr);
    std::string expected;
    for (int i = 0; i < 9; i++)
        expected += "0123456789";
    EXPECT_EQ(std::string(QELString(reinterpret_cast<const uchar*>(home->getTextContent())).p), expected);
}

TEST_F(QELSetupTest, NestedEntitiesExpandingWithoutBoundAreRefused)
{
    // 40^5 = 10^8 references, a gigabyte of text from a 1 KB file: the read
    // stops at ten thousand expansions and reports a bad file.
    std::string content = nestedEntities(5, 40);
    std::string file = writeFile("QELSetup.xml", content);
    QELSetup setup(QELString(file.c_str()));
    EXPECT_FALSE(setup.read());
    EXPECT_EQ(setup.document, nullptr);
    EXPECT_EQ(value(setup, "Home"), "");
    EXPECT_EQ(readFile(file), content);
}

// A file of more than 4 MB may still expand one entity: the bound on
// expansions is text / file size, but never below one.
TEST_F(QELSetupTest, ALargeFileStillExpandsOneEntity)
{
    std::string content = "<!DOCTYPE Setup [<!ENTITY e \"expanded\">]><Setup><!-- " + std::string(5 << 20, 'p') +
                          " --><Home>&e;</Home></Setup>";
    QELSetup setup(QELString(writeFile("QELSetup.xml", content).c_str()));
    ASSERT_TRUE(setup.read());
    xercesc::DOMNode* home = setup.findSubNode(setup.document->getDocumentElement(), QELString("Home"));
    ASSERT_NE(home, nullptr);
    EXPECT_EQ(std::string(QELString(reinterpret_cast<const uchar*>(home->getTextContent())).p), "expanded");
}

TEST_F(QELSetupTest, ADirectoryIsNotASetupFile)
{
    QELSetup setup(QELString(dir.c_str()));
    EXPECT_FALSE(setup.read());
    EXPECT_EQ(setup.document, nullptr);
    EXPECT_EQ(value(setup, "Directory/Home"), "");
}

TEST_F(QELSetupTest, UnreadableFileIsNotRead)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "permissions do not stop root";
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    QELSetup setup(QELString(file.c_str()));
    EXPECT_FALSE(setup.read());
    EXPECT_EQ(value(setup, "Directory/Home"), "");
}

TEST_F(QELSetupTest, OtherDeclaredEncodingsAreReadAsUtf8AndKeptOnWrite)
{
    // ISO-8859-1: é is the single byte 0xE9 in the file.
    std::string file = writeFile("latin1.xml",
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><Setup><Home>caf\xe9</Home><Bin>b</Bin></Setup>");
    {
        QELSetup setup(QELString(file.c_str()));
        ASSERT_TRUE(setup.read());
        EXPECT_EQ(value(setup, "Home"), "caf\xc3\xa9");
        ASSERT_TRUE(setup.setValue(QELString("Bin"), QELString("\xc3\xbc")));
        ASSERT_TRUE(setup.write());
    }
    std::string written = readFile(file);
    EXPECT_NE(written.find("ISO-8859-1"), std::string::npos) << written;
    EXPECT_NE(written.find("caf\xe9"), std::string::npos) << written;
    EXPECT_NE(written.find("<Bin>\xfc</Bin>"), std::string::npos) << written;
}

TEST_F(QELSetupTest, Utf16FileWithByteOrderMarkIsRead)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-16\"?><Setup><Home>/u</Home></Setup>";
    std::string utf16("\xff\xfe", 2);
    for (char c : text) {
        utf16.push_back(c);
        utf16.push_back('\0');
    }
    QELSetup setup(QELString(writeFile("utf16.xml", utf16).c_str()));
    ASSERT_TRUE(setup.read());
    EXPECT_EQ(value(setup, "Home"), "/u");
}

TEST_F(QELSetupTest, Utf7FileIsReadAndPlainDocumentsWrittenBack)
{
    // "+AOk-" is é in UTF-7.
    QELSetup encoded(QELString(writeFile("utf7.xml",
        "<?xml version=\"1.0\" encoding=\"UTF-7\"?><Setup><Home>caf+AOk-</Home></Setup>").c_str()));
    ASSERT_TRUE(encoded.read());
    EXPECT_EQ(value(encoded, "Home"), "caf\xc3\xa9");

    // The writer keeps the document's encoding. Xerces transcodes the
    // document piece by piece and UTF-7 carries state from one piece to the
    // next, so only documents of characters UTF-7 writes directly come back
    // the same; those do.
    std::string file = writeFile("plain7.xml",
        "<?xml version=\"1.0\" encoding=\"UTF-7\"?><Setup><Home>/opt/q</Home><Bin>b</Bin></Setup>");
    {
        QELSetup setup(QELString(file.c_str()));
        ASSERT_TRUE(setup.read());
        ASSERT_TRUE(setup.setValue(QELString("Bin"), QELString("/opt/bin")));
        ASSERT_TRUE(setup.write());
    }
    EXPECT_NE(readFile(file).find("UTF-7"), std::string::npos);
    QELSetup again(QELString(file.c_str()));
    ASSERT_TRUE(again.read());
    EXPECT_EQ(value(again, "Home"), "/opt/q");
    EXPECT_EQ(value(again, "Bin"), "/opt/bin");
}

// --- Lifetime of the XML platform ---

TEST_F(QELSetupTest, ASetupNeverReadDoesNotEndTheOthers)
{
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    QELSetup setup(QELString(file.c_str()));
    ASSERT_TRUE(setup.read());
    for (int i = 0; i < 3; i++) {
        QELSetup neverRead(QELString(file.c_str()));
        QELSetup missing(QELString(path("absent.xml").c_str()));
        EXPECT_FALSE(missing.read());
    }
    EXPECT_EQ(value(setup, "Directory/Home"), "/opt/q");
    EXPECT_TRUE(setup.setValue(QELString("Directory/Home"), QELString("/after")));
    EXPECT_TRUE(setup.write());
    QELSetup again(QELString(file.c_str()));
    ASSERT_TRUE(again.read());
    EXPECT_EQ(value(again, "Directory/Home"), "/after");
}

TEST_F(QELSetupTest, RepeatedSetupsAndRereadsStayBalanced)
{
    std::string file = writeFile("QELSetup.xml", SAMPLE);
    for (int i = 0; i < 50; i++) {
        QELSetup setup(QELString(file.c_str()));
        ASSERT_TRUE(setup.read());
        ASSERT_EQ(value(setup, "Directory/Home"), "/opt/q");
    }
    QELSetup setup(QELString(file.c_str()));
    ASSERT_TRUE(setup.read());
    writeFile("QELSetup.xml", "<Setup><Directory><Home>/second</Home></Directory></Setup>");
    ASSERT_TRUE(setup.read());
    EXPECT_EQ(value(setup, "Directory/Home"), "/second");
}

// --- Differential test against a model tree ---

struct ModelNode {
    std::string name;
    std::string text;                 // a leaf's text
    std::vector<ModelNode> children;  // elements, with `gap` text between
    std::string gap;
};

std::string escape(const std::string& s)
{
    std::string out;
    for (char c : s) {
        if (c == '<')
            out += "&lt;";
        else if (c == '&')
            out += "&amp;";
        else if (c == '>')
            out += "&gt;";
        else
            out += c;
    }
    return out;
}

std::string serialise(const ModelNode& n)
{
    std::string s = "<" + n.name + ">";
    if (n.children.empty()) {
        s += escape(n.text);
    } else {
        for (const ModelNode& c : n.children)
            s += n.gap + serialise(c);
        s += n.gap;
    }
    return s + "</" + n.name + ">";
}

std::string content(const ModelNode& n)
{
    if (n.children.empty())
        return n.text;
    std::string s;
    for (const ModelNode& c : n.children)
        s += n.gap + content(c);
    return s + n.gap;
}

ModelNode* find(ModelNode& root, const std::vector<std::string>& path)
{
    ModelNode* node = &root;
    for (const std::string& piece : path) {
        ModelNode* next = nullptr;
        for (ModelNode& c : node->children) {
            if (c.name == piece) {
                next = &c;
                break;
            }
        }
        if (next == nullptr)
            return nullptr;
        node = next;
    }
    return node;
}

ModelNode randomNode(std::mt19937& rng, const std::string& name, int depth)
{
    static const char* names[] = { "A", "B", "C", "Dd" };
    static const char* texts[] = { "", "x", " v ", "caf\xc3\xa9", "a<b&c>", "1\n2", "\xe2\x82\xac" };
    static const char* gaps[] = { "", "\n  ", " " };
    ModelNode n;
    n.name = name;
    std::uniform_int_distribution<int> pick(0, 3), text(0, 6), gap(0, 2), count(0, 4);
    int children = depth < 3 ? count(rng) : 0;
    if (children == 0) {
        n.text = texts[text(rng)];
        return n;
    }
    n.gap = gaps[gap(rng)];
    for (int i = 0; i < children; i++)
        n.children.push_back(randomNode(rng, names[pick(rng)], depth + 1));
    return n;
}

TEST_F(QELSetupTest, RandomDocumentsAnswerAsTheModelTree)
{
    std::mt19937 rng(6301);
    static const char* names[] = { "A", "B", "C", "Dd", "E" };
    std::uniform_int_distribution<int> pick(0, 4), length(1, 4), action(0, 3);
    std::string file = path("random.xml");
    for (int round = 0; round < 40; round++) {
        ModelNode root = randomNode(rng, "Setup", 0);
        writeFile("random.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + serialise(root));
        QELSetup setup(QELString(file.c_str()));
        ASSERT_TRUE(setup.read());
        std::vector<std::vector<std::string>> paths;
        for (int i = 0; i < 150; i++) {
            std::vector<std::string> p;
            int n = length(rng);
            for (int k = 0; k < n; k++)
                p.push_back(names[pick(rng)]);
            std::string key;
            for (const std::string& piece : p)
                key += (key.empty() ? "" : "/") + piece;
            ModelNode* node = find(root, p);
            if (action(rng) == 0) {
                // Change the value: one text replaces every child.
                std::string v = "v" + std::to_string(i);
                ASSERT_EQ(setup.setValue(QELString(key.c_str()), QELString(v.c_str())), node != nullptr) << key;
                if (node != nullptr) {
                    node->children.clear();
                    node->text = v;
                }
            }
            ASSERT_EQ(setup.findNode(QELString(key.c_str())) != nullptr, node != nullptr) << key;
            ASSERT_EQ(value(setup, key.c_str()), node != nullptr ? content(*node) : "") << key;
            paths.push_back(p);
        }
        ASSERT_TRUE(setup.write());
        QELSetup reread(QELString(file.c_str()));
        ASSERT_TRUE(reread.read());
        for (const std::vector<std::string>& p : paths) {
            std::string key;
            for (const std::string& piece : p)
                key += (key.empty() ? "" : "/") + piece;
            ModelNode* node = find(root, p);
            ASSERT_EQ(value(reread, key.c_str()), node != nullptr ? content(*node) : "") << key;
        }
    }
}

// --- Values against the DOM's own text content ---

// The node at `path` found the plain way: the path converted to UTF-16 as a
// whole, split at "/", each piece compared with the children's names.
DOMNode* domFind(DOMDocument* document, const char* path)
{
    QELString text(path);
    std::u16string wide(reinterpret_cast<const char16_t*>(text.wchars()));
    DOMNode* node = document;
    std::vector<std::u16string> pieces = { u"Setup" };
    for (size_t start = 0;;) {
        size_t slash = wide.find(u'/', start);
        pieces.push_back(wide.substr(start, slash == std::u16string::npos ? slash : slash - start));
        if (slash == std::u16string::npos)
            break;
        start = slash + 1;
    }
    for (const std::u16string& piece : pieces) {
        DOMNode* child = node->getFirstChild();
        while (child != nullptr && !XMLString::equals(child->getNodeName(), piece.c_str()))
            child = child->getNextSibling();
        if (child == nullptr)
            return nullptr;
        node = child;
    }
    return node;
}

// getValue's answer must be the node's DOM text content as the QELString
// constructor from 16-bit units converts it: the same bytes, length and
// block size.
void expectDomTextContent(QELSetup& setup, const char* path)
{
    DOMNode* node = domFind(setup.document, path);
    const QELString expected =
        node == nullptr ? getEmptyTString() : QELString(reinterpret_cast<const uchar*>(node->getTextContent()));
    const QELString got = setup.getValue(QELString(path));
    EXPECT_EQ(std::string(got.p, (size_t)got.len), std::string(expected.p, (size_t)expected.len)) << path;
    EXPECT_EQ(got.len, expected.len) << path;
    EXPECT_EQ(got.alloc, expected.alloc) << path;
}

// Random content: nested elements with ASCII and non-ASCII names, text of
// every UTF-8 length (a character outside the BMP among them), CDATA,
// comments, processing instructions and entity references, one of them
// expanding to an element.
std::string randomContent(std::mt19937& rng, int depth)
{
    static const char* const names[] = { "A", "B", "Caf\xc3\xa9", "\xe5\x90\x8d", "pi" };
    static const char* const pieces[] = {
        "x", " v ", "caf\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "a&lt;b&amp;", "\n  ",
        "<![CDATA[<c>\xc3\xa9]]>", "<!-- note -->", "<?pi data \xc3\xa9?>", "&e;", "&f;",
    };
    std::string s;
    const int count = (int)(rng() % 5);
    for (int i = 0; i < count; i++) {
        if (depth < 3 && rng() % 3 == 0) {
            const std::string name = names[rng() % 5];
            s += "<" + name + ">" + randomContent(rng, depth + 1) + "</" + name + ">";
        } else {
            s += pieces[rng() % (sizeof pieces / sizeof pieces[0])];
        }
    }
    return s;
}

TEST_F(QELSetupTest, ValuesAreTheDomTextContentForRandomDocumentsAndPaths)
{
    // Paths name elements, and also text, comment and CDATA nodes,
    // processing instructions and entity references, whose content is
    // their own.
    static const char* const pieces[] = {
        "A", "B", "Caf\xc3\xa9", "\xe5\x90\x8d", "pi", "e", "f", "#text", "#comment", "#cdata-section", "",
    };
    std::mt19937 rng(1864);
    const std::string file = path("random.xml");
    for (int round = 0; round < 60; round++) {
        writeFile("random.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                "<!DOCTYPE Root [<!ENTITY e \"ent\xc3\xa9\"><!ENTITY f \"f<B>b&e;</B>g\">]>\n"
                                "<Setup>" +
                                    randomContent(rng, 0) + "</Setup>\n");
        QELSetup setup(QELString(file.c_str()));
        ASSERT_TRUE(setup.read());
        for (int i = 0; i < 100; i++) {
            std::string key = pieces[rng() % (sizeof pieces / sizeof pieces[0])];
            for (int more = (int)(rng() % 3); more > 0; more--)
                key += std::string("/") + pieces[rng() % (sizeof pieces / sizeof pieces[0])];
            expectDomTextContent(setup, key.c_str());
        }
    }
}

TEST_F(QELSetupTest, UnpairedSurrogatesInTextAreConvertedAsFromAnyOther16BitText)
{
    QELSetup setup(QELString(writeFile("QELSetup.xml", SAMPLE).c_str()));
    ASSERT_TRUE(setup.read());
    DOMNode* home = setup.findNode(QELString("Directory/Home"));
    ASSERT_NE(home, nullptr);
    const char16_t* const texts[] = {
        u"a\xD800z", // a high surrogate alone
        u"a\xDC00z", // a low surrogate alone
        u"\xDE00\xD83D", // the two halves in the wrong order
        u"\xD83D", // a high surrogate at the end
        u"\xD83D\xDE00", // a pair
    };
    for (const char16_t* text : texts) {
        home->setTextContent(text);
        expectDomTextContent(setup, "Directory/Home");
        expectDomTextContent(setup, "Directory");
    }
    // A pair split over two text nodes is a pair in the text content.
    home->setTextContent(u"x\xD83D");
    home->appendChild(setup.document->createTextNode(u"\xDE00y"));
    expectDomTextContent(setup, "Directory/Home");
    EXPECT_EQ(value(setup, "Directory/Home"), "x\xf0\x9f\x98\x80y");
}

TEST_F(QELSetupTest, AnEmbeddedTerminatorEndsThePath)
{
    QELSetup setup(QELString(writeFile("QELSetup.xml", SAMPLE).c_str()));
    ASSERT_TRUE(setup.read());
    EXPECT_EQ(std::string(setup.getValue(QELString("Log/LogLevel\0/X", 15)).chars()), " 3 ");
    EXPECT_EQ(std::string(setup.getValue(QELString("Log\0/LogLevel", 12)).chars()), " 3 ");
}

} // namespace
