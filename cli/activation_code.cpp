#include "cli/activation_code.h"
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <spawn.h>
#include <sstream>
#include <string_view>
#include <strings.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char *blanks = " \t\r\n";
constexpr int zbarimg_found_nothing = 4;
constexpr int never_started = 127; // POSIX: when posix_spawn had returned before it knew

std::string trimmed(const std::string &line)
{
    const size_t begin = line.find_first_not_of(blanks);
    return begin == std::string::npos ? "" : line.substr(begin, line.find_last_not_of(blanks) - begin + 1);
}

struct finished_program {
    int error = 0;  // why it could not be started
    int status = 0; // its exit status, -1 when a signal ended it
    std::string out = {};
};

std::string read_all(int from)
{
    std::string text;
    char bytes[1024];
    for (ssize_t count = 0; (count = read(from, bytes, sizeof bytes)) > 0;)
        text.append(bytes, static_cast<size_t>(count));
    return text;
}

finished_program start(const char *const *arguments, const int *ends)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    finished_program finished;
    finished.error =
        posix_spawnp(&process, arguments[0], &actions, nullptr, const_cast<char *const *>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (finished.error != 0) return finished;
    finished.out = read_all(ends[0]);
    int status = 0;
    waitpid(process, &status, 0);
    finished.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return finished;
}

finished_program run_program(const char *const *arguments)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {.error = errno};
    finished_program finished = start(arguments, ends);
    close(ends[0]);
    return finished;
}

std::set<std::string> activation_codes(const std::string &lines)
{
    std::set<std::string> codes;
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);)
        if (is_activation_code(trimmed(line))) codes.insert(trimmed(line));
    return codes;
}

// Why there are no lines to look at; empty when there are.
std::string problem_of(const finished_program &zbarimg, const std::string &file)
{
    if (zbarimg.error == ENOENT || zbarimg.status == never_started)
        return "zbarimg, which reads QR codes, is not there: install zbar-tools";
    if (zbarimg.error != 0) return std::string("zbarimg cannot be started: ") + strerror(zbarimg.error);
    if (zbarimg.status == zbarimg_found_nothing) return file + " shows no QR code";
    return zbarimg.status == 0 ? "" : file + " is no picture that zbarimg can read";
}

} // namespace

std::optional<outcome> read_code(std::string &code, std::istream &in)
{
    if (code != "-") return {};
    code.clear();
    for (std::string line; code.empty() && std::getline(in, line);)
        code = trimmed(line);
    if (code.empty()) return ended(EXIT__NOT_FOUND, "there is no activation code on standard input");
    return {};
}

std::optional<outcome> read_code_from_picture(std::string &code, const std::string &file)
{
    if (access(file.c_str(), R_OK) != 0) return ended(EXIT__NOT_FOUND, "cannot read " + file + ": " + strerror(errno));
    // No D-Bus: zbarimg would tell the code to everybody who listens there.
    const char *const arguments[] = {"zbarimg", "--raw", "-q", "--nodbus", "--", file.c_str(), nullptr};
    const finished_program zbarimg = run_program(arguments);
    if (const std::string problem = problem_of(zbarimg, file); !problem.empty()) return ended(EXIT__NOT_FOUND, problem);
    const auto codes = activation_codes(zbarimg.out);
    if (codes.empty()) return ended(EXIT__NOT_FOUND, "the code in " + file + " is no activation code (LPA:1$...)");
    if (codes.size() > 1)
        return ended(EXIT__NOT_FOUND, file + " shows several activation codes: cut out the one that is meant");
    code = *codes.begin();
    return {};
}

bool is_activation_code(const std::string &text)
{
    constexpr size_t prefix_length = 4;
    const bool has_prefix = strncasecmp(text.c_str(), "LPA:", prefix_length) == 0;
    const std::string code = text.substr(has_prefix ? prefix_length : 0);
    constexpr std::string_view format = "1$";
    const size_t address_end = code.find('$', format.size());
    return code.starts_with(format) && address_end != std::string::npos && address_end > format.size();
}

bool needs_confirmation_code(const std::string &code)
{
    constexpr int dollars_before_flag = 4;
    return std::ranges::count(code, '$') == dollars_before_flag && code.ends_with("$1");
}
