/// vok-fake-client: stands in for the game client. What it does is told by the file "script" beside it, one step a
/// line, so that neither its arguments nor its environment differ from those of the real one.
///
///   record             keep the arguments in "arguments", what the kernel shows of them in "cmdline", and the
///                      environment in "environment", each text ended by a zero byte
///   read               keep all of standard input in "session"
///   close-input        close standard input unread
///   out HEX, err HEX   write these bytes
///   repeat COUNT HEX   write these bytes to standard output as often
///   echo FROM COUNT    write that part of the session to standard output
///   wait NAME          until somebody opens the pipe NAME
///   exit CODE          end; so does the end of the script, with 0
///   die                end by a signal
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>

namespace
{

constexpr int kBroken = 99;

[[noreturn]] void giveUp(const std::string& what)
{
    std::fprintf(stderr, "vok-fake-client: %s\n", what.c_str());
    std::_Exit(kBroken);
}

void writeAll(int file, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(file, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            std::_Exit(kBroken);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::string readAll(int file)
{
    std::string bytes;
    for (char block[4096];;) {
        const ssize_t count = ::read(file, block, sizeof block);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return bytes;
        bytes.append(block, static_cast<std::size_t>(count));
    }
}

std::string contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string bytesOf(const std::string& hex)
{
    std::string bytes;
    for (std::size_t place = 0; place + 1 < hex.size(); place += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(place, 2), nullptr, 16));
    return bytes;
}

class FakeClient
{
public:
    explicit FakeClient(char** argv)
        : m_argv(argv)
        , m_folder(std::filesystem::path(argv[0]).parent_path())
    {
    }

    void play()
    {
        std::istringstream script(contentOf(m_folder / "script"));
        for (std::string line; std::getline(script, line);) {
            std::istringstream words(line);
            std::string step;
            words >> step;
            take(step, words);
        }
    }

private:
    void take(const std::string& step, std::istringstream& words)
    {
        std::string word;
        std::size_t count = 0;
        if (step == "record") {
            record();
        } else if (step == "read") {
            m_session = readAll(STDIN_FILENO);
            keep("session", m_session);
        } else if (step == "close-input") {
            ::close(STDIN_FILENO);
        } else if (step == "out" && words >> word) {
            writeAll(STDOUT_FILENO, bytesOf(word));
        } else if (step == "err" && words >> word) {
            writeAll(STDERR_FILENO, bytesOf(word));
        } else if (step == "repeat" && words >> count >> word) {
            repeat(count, bytesOf(word));
        } else if (std::size_t from = 0; step == "echo" && words >> from >> count) {
            writeAll(STDOUT_FILENO, std::string_view(m_session).substr(from, count));
        } else if (step == "wait" && words >> word) {
            ::close(::open((m_folder / word).c_str(), O_RDONLY | O_CLOEXEC));
        } else if (step == "exit" && words >> count) {
            std::_Exit(static_cast<int>(count));
        } else if (step == "die") {
            std::raise(SIGKILL);
        } else {
            giveUp("no such step: " + step);
        }
    }

    void record() const
    {
        std::string arguments;
        for (char** argument = m_argv + 1; *argument != nullptr; ++argument)
            arguments.append(*argument).push_back('\0');
        keep("arguments", arguments);
        keep("cmdline", contentOf("/proc/self/cmdline"));
        keep("environment", contentOf("/proc/self/environ"));
    }

    /// The file appears whole.
    void keep(const std::string& name, const std::string& bytes) const
    {
        const std::filesystem::path written = m_folder / (name + ".part");
        std::ofstream(written, std::ios::binary) << bytes;
        std::filesystem::rename(written, m_folder / name);
    }

    static void repeat(std::size_t count, const std::string& bytes)
    {
        constexpr std::size_t kBlock = 65536;
        std::string block;
        for (; count > 0; --count) {
            block += bytes;
            if (block.size() >= kBlock || count == 1) {
                writeAll(STDOUT_FILENO, block);
                block.clear();
            }
        }
    }

    char** m_argv;
    std::filesystem::path m_folder;
    std::string m_session;
};

} // namespace

int main(int, char** argv)
{
    // A test that dies must not leave it waiting.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    FakeClient(argv).play();
    return 0;
}
