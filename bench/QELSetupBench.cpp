// QELSetupBench: a 2 KB setup file read with QELSetup::read and asked for 20
// values, against Xerces-C doing the same by hand (DOMLSParser and a walk of
// the child elements) and POCO's XMLConfiguration; the 20 lookups alone on
// a document already read, against POCO's XMLConfiguration; and the load of the
// library (process start to the first accessor's answer) against a program
// that only parses the same file with Xerces. Both programs of the second
// pair sit beside this benchmark's executable.
// Names: BM_Setup_read20/<qel|xerces|poco>, BM_Setup_lookup20/<qel|poco>,
// BM_Setup_load/<qel|xerces>.
#include <benchmark/benchmark.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <xercesc/dom/DOM.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/TransService.hpp>

#include "QELSetup.h"

#ifdef QEL_BENCH_POCO
#include <Poco/AutoPtr.h>
#include <Poco/Util/XMLConfiguration.h>
#endif

extern char** environ;

XERCES_CPP_NAMESPACE_USE

namespace {

// The 20 keys asked for, in the order the configuration reads them.
const char* const kKeys[20] = {
    "Directory/Home", "Directory/Bin", "Directory/Log", "Directory/Temp", "Directory/TextLiterals",
    "Java/Directory", "Java/ClassPath", "Java/AppendSystemClassPath", "Java/VirtualMachinePath",
    "Java/LibraryPath", "Java/RunTime/Executable", "Java/RunTime/Options", "Server/Parameters",
    "Server/Encryption", "Client/Parameters", "Repository/Directory", "Repository/Database/DataSourceName",
    "Repository/Database/LoginUser", "Repository/Database/LoginPassword", "Log/LogLevel"};

// A setup file of about 2 KB in a fresh temporary directory, removed at exit.
struct SetupFile {
    std::string dir, path;
    SetupFile()
    {
        dir = (std::filesystem::temp_directory_path() / ("qel_bench_setup_" + std::to_string(getpid()))).string();
        std::filesystem::create_directories(dir);
        path = dir + "/QELSetup.xml";
        std::ofstream out(path);
        out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<!-- Installation settings of a product built on the library: where it lives,\n"
               "     how the Java runtime starts, the server and client parameters, the\n"
               "     repository database, the log level and the conversation directory. -->\n"
               "<Setup>\n"
               "  <Directory>\n"
               "    <Home>/opt/product/installation</Home>\n"
               "    <Bin>/opt/product/installation/bin</Bin>\n"
               "    <Log>/var/log/product</Log>\n"
               "    <Temp>/var/tmp/product</Temp>\n"
               "    <TextLiterals>/opt/product/installation/conf/QELI18n</TextLiterals>\n"
               "  </Directory>\n"
               "  <Java>\n"
               "    <Directory>/opt/product/installation/java</Directory>\n"
               "    <ClassPath>/opt/product/installation/java/product.jar:/opt/product/installation/java/"
               "lib/xml.jar:/opt/product/installation/java/lib/db.jar</ClassPath>\n"
               "    <AppendSystemClassPath>true</AppendSystemClassPath>\n"
               "    <VirtualMachinePath>/usr/lib/jvm/default/lib/server/libjvm.so</VirtualMachinePath>\n"
               "    <LibraryPath>/opt/product/installation/lib:/opt/product/installation/java/lib</LibraryPath>\n"
               "    <RunTime>\n"
               "      <Executable>/usr/lib/jvm/default/bin/java</Executable>\n"
               "      <Options>-Xms64m -Xmx512m -Dproduct.home=/opt/product/installation "
               "-Dfile.encoding=UTF-8</Options>\n"
               "    </RunTime>\n"
               "  </Java>\n"
               "  <Server>\n"
               "    <Parameters>-port 4711 -threads 16 -timeout 300</Parameters>\n"
               "    <Encryption>none</Encryption>\n"
               "  </Server>\n"
               "  <Client>\n"
               "    <Parameters>-host server.example.org -port 4711 -retries 3</Parameters>\n"
               "  </Client>\n"
               "  <Repository>\n"
               "    <Directory>/var/lib/product/repository</Directory>\n"
               "    <Database>\n"
               "      <DataSourceName>PRODUCT_REPOSITORY</DataSourceName>\n"
               "      <LoginUser>product</LoginUser>\n"
               "      <LoginPassword>s3cret &amp; more</LoginPassword>\n"
               "    </Database>\n"
               "  </Repository>\n"
               "  <Log>\n"
               "    <LogLevel>5</LogLevel>\n"
               "  </Log>\n"
               "  <Pavorn>\n"
               "    <XmlConversationDirectory>/var/lib/product/conversations</XmlConversationDirectory>\n"
               "  </Pavorn>\n"
               "  <!-- Padding so that the file has the size of a typical installed one, with\n"
               "       room for comments that administrators leave behind when they edit it:\n"
               "       changed the log level to 5 for the migration; restore it afterwards.\n"
               "       changed the server port from 4710 to 4711 after the firewall update.\n"
               "       the repository moved to /var/lib/product/repository in release 7.  -->\n"
               "</Setup>\n";
    }
    ~SetupFile() { std::filesystem::remove_all(dir); }
};

const SetupFile& setupFile()
{
    static SetupFile file;
    return file;
}

// ---------------------------------------------------------------- read + 20 values

void BM_Setup_read20_qel(benchmark::State& state)
{
    const SetupFile& file = setupFile();
    const QELString name(file.path.c_str());
    for (auto _ : state) {
        QELSetup setup(name);
        if (!setup.read())
            state.SkipWithError("read failed");
        size_t total = 0;
        for (const char* key : kKeys) {
            QELString value = setup.getValue(QELString(key));
            total += (size_t)value.length();
        }
        benchmark::DoNotOptimize(total);
    }
}
BENCHMARK(BM_Setup_read20_qel)->Name("BM_Setup_read20/qel")->Unit(benchmark::kMicrosecond);

// The same by hand: the element names prepared once as XMLCh, each value
// transcoded to UTF-8.
struct XercesKeys {
    std::vector<std::vector<std::u16string>> pieces;
    XercesKeys()
    {
        for (const char* key : kKeys) {
            std::vector<std::u16string> path;
            std::string k(key);
            size_t start = 0;
            for (;;) {
                size_t slash = k.find('/', start);
                std::string piece = k.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
                path.emplace_back(piece.begin(), piece.end());
                if (slash == std::string::npos)
                    break;
                start = slash + 1;
            }
            pieces.push_back(path);
        }
    }
};

DOMNode* childNamed(DOMNode* node, const std::u16string& name)
{
    for (DOMNode* c = node ? node->getFirstChild() : nullptr; c; c = c->getNextSibling())
        if (c->getNodeType() == DOMNode::ELEMENT_NODE &&
            XMLString::equals(c->getNodeName(), reinterpret_cast<const XMLCh*>(name.c_str())))
            return c;
    return nullptr;
}

void BM_Setup_read20_xerces(benchmark::State& state)
{
    const SetupFile& file = setupFile();
    static const XercesKeys keys;
    static const XMLCh ls[] = {'L', 'S', 0};
    static const std::u16string setupName = u"Setup";
    for (auto _ : state) {
        DOMImplementationLS* impl =
            dynamic_cast<DOMImplementationLS*>(DOMImplementationRegistry::getDOMImplementation(ls));
        DOMLSParser* parser = impl->createLSParser(DOMImplementationLS::MODE_SYNCHRONOUS, 0);
        DOMDocument* doc = parser->parseURI(file.path.c_str());
        if (!doc)
            state.SkipWithError("parse failed");
        DOMNode* root = childNamed(doc, setupName);
        size_t total = 0;
        for (const std::vector<std::u16string>& path : keys.pieces) {
            DOMNode* node = root;
            for (const std::u16string& piece : path)
                node = childNamed(node, piece);
            if (node) {
                TranscodeToStr utf8(node->getTextContent(), "UTF-8");
                std::string value(reinterpret_cast<const char*>(utf8.str()), utf8.length());
                total += value.size();
            }
        }
        benchmark::DoNotOptimize(total);
        parser->release();
    }
}
BENCHMARK(BM_Setup_read20_xerces)->Name("BM_Setup_read20/xerces")->Unit(benchmark::kMicrosecond);

#ifdef QEL_BENCH_POCO
// The 20 keys as POCO writes them, with dots for slashes.
std::vector<std::string> dottedKeys()
{
    std::vector<std::string> keys;
    for (const char* key : kKeys) {
        std::string k(key);
        for (char& c : k)
            if (c == '/')
                c = '.';
        keys.push_back(k);
    }
    return keys;
}

void BM_Setup_read20_poco(benchmark::State& state)
{
    const SetupFile& file = setupFile();
    const std::vector<std::string> keys = dottedKeys();
    for (auto _ : state) {
        Poco::AutoPtr<Poco::Util::XMLConfiguration> conf(new Poco::Util::XMLConfiguration(file.path));
        size_t total = 0;
        for (const std::string& key : keys)
            total += conf->getString(key, "").size();
        benchmark::DoNotOptimize(total);
    }
}
BENCHMARK(BM_Setup_read20_poco)->Name("BM_Setup_read20/poco")->Unit(benchmark::kMicrosecond);
#endif

// ---------------------------------------------------------------- 20 values

// The 20 lookups alone, on a document read before the loop. Both sides hold
// their keys ready (QELStrings here, POCO's dotted keys there) and return
// each value as a new string.
void BM_Setup_lookup20_qel(benchmark::State& state)
{
    QELSetup setup(QELString(setupFile().path.c_str()));
    if (!setup.read())
        state.SkipWithError("read failed");
    std::vector<QELString> keys(std::begin(kKeys), std::end(kKeys));
    size_t total = 0;
    for (auto _ : state) {
        total = 0;
        for (const QELString& key : keys)
            total += (size_t)setup.getValue(key).length();
        benchmark::DoNotOptimize(total);
    }
    state.counters["bytes"] = (double)total;
}
BENCHMARK(BM_Setup_lookup20_qel)->Name("BM_Setup_lookup20/qel");

#ifdef QEL_BENCH_POCO
void BM_Setup_lookup20_poco(benchmark::State& state)
{
    const std::vector<std::string> keys = dottedKeys();
    Poco::AutoPtr<Poco::Util::XMLConfiguration> conf(new Poco::Util::XMLConfiguration(setupFile().path));
    size_t total = 0;
    for (auto _ : state) {
        total = 0;
        for (const std::string& key : keys)
            total += conf->getString(key, "").size();
        benchmark::DoNotOptimize(total);
    }
    state.counters["bytes"] = (double)total;
}
BENCHMARK(BM_Setup_lookup20_poco)->Name("BM_Setup_lookup20/poco");
#endif

// ---------------------------------------------------------------- library load

std::string besideThisProgram(const char* name)
{
    std::error_code ec;
    std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
    return (self.parent_path() / name).string();
}

// Starts the program, times the arrival of its one byte on standard output,
// then reaps it (outside the measured time).
void timeStartToAnswer(benchmark::State& state, const std::string& program, const std::vector<std::string>& args)
{
    const SetupFile& file = setupFile();
    std::vector<std::string> env;
    for (char** e = environ; *e; e++)
        if (strncmp(*e, "QEL_CONFIGURATION_PATH=", 23) != 0)
            env.push_back(*e);
    env.push_back("QEL_CONFIGURATION_PATH=" + file.dir);
    std::vector<char*> envp;
    for (std::string& e : env)
        envp.push_back(&e[0]);
    envp.push_back(nullptr);
    std::vector<std::string> argStore = args;
    argStore.insert(argStore.begin(), program);
    std::vector<char*> argv;
    for (std::string& a : argStore)
        argv.push_back(&a[0]);
    argv.push_back(nullptr);

    for (auto _ : state) {
        int fds[2];
        if (pipe(fds) != 0) {
            state.SkipWithError("pipe");
            break;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
        posix_spawn_file_actions_addclose(&actions, fds[0]);
        posix_spawn_file_actions_addclose(&actions, fds[1]);
        auto start = std::chrono::steady_clock::now();
        pid_t pid;
        int rc = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), envp.data());
        close(fds[1]);
        char answer = 0;
        ssize_t n = rc == 0 ? read(fds[0], &answer, 1) : -1;
        auto end = std::chrono::steady_clock::now();
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
        close(fds[0]);
        posix_spawn_file_actions_destroy(&actions);
        if (rc == 0) {
            int status;
            waitpid(pid, &status, 0);
        }
        if (n != 1 || answer != '1') {
            state.SkipWithError("helper program gave no answer");
            break;
        }
    }
}

void BM_Setup_load_qel(benchmark::State& state)
{
    timeStartToAnswer(state, besideThisProgram("bench_setup_load_qel"), {});
}
BENCHMARK(BM_Setup_load_qel)->Name("BM_Setup_load/qel")->UseManualTime()->Unit(benchmark::kMillisecond);

void BM_Setup_load_xerces(benchmark::State& state)
{
    timeStartToAnswer(state, besideThisProgram("bench_setup_load_xerces"), {setupFile().path});
}
BENCHMARK(BM_Setup_load_xerces)->Name("BM_Setup_load/xerces")->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

// The Xerces platform is initialised once for the whole run, as a program
// using Xerces directly would; QELSetup's own Initialize/Terminate pairs
// then only count references.
int main(int argc, char** argv)
{
    XMLPlatformUtils::Initialize();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    XMLPlatformUtils::Terminate();
    return 0;
}
