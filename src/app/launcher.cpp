// The `tessly` executable. What the desktop runs most often is a hand-over to
// the tray application that is already running: the file managers' "Share
// with Tessly Cloud", the desktop entry's actions, `Exec=tessly %U` with a
// login callback or files. Loading Qt, libcurl and the rest for that costs
// more than the hand-over itself, so this front speaks the running instance's
// protocol (one JSON line each way over its local socket) with nothing but the
// C library and cJSON. Everything else, including every case it is unsure
// of, goes to the application proper, a module loaded here on demand, which
// then behaves exactly as if it had been started directly.
#include <cjson/cJSON.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <libgen.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

// How long the running instance may take to answer, as the application's own
// client waits.
constexpr int kAnswerTimeoutMs = 5000;

bool isUtf8(const char *text)
{
    const auto *s = reinterpret_cast<const unsigned char *>(text);
    while (*s) {
        int extra = 0;
        unsigned int code = *s;
        if (code < 0x80)
            extra = 0;
        else if ((code & 0xe0) == 0xc0 && code >= 0xc2)
            extra = 1, code &= 0x1f;
        else if ((code & 0xf0) == 0xe0)
            extra = 2, code &= 0x0f;
        else if ((code & 0xf8) == 0xf0 && code <= 0xf4)
            extra = 3, code &= 0x07;
        else
            return false;
        ++s;
        for (int i = 0; i < extra; ++i, ++s) {
            if ((*s & 0xc0) != 0x80)
                return false;
            code = (code << 6) | (*s & 0x3f);
        }
        if ((extra == 2 && (code < 0x800 || (code >= 0xd800 && code <= 0xdfff)))
            || (extra == 3 && (code < 0x10000 || code > 0x10ffff)))
            return false;
    }
    return true;
}

bool exists(const std::string &path)
{
    struct stat info;
    return ::stat(path.c_str(), &info) == 0;
}

bool isUrl(const std::string &arg)
{
    return arg.find("://") != std::string::npos;
}

// The absolute, lexically cleaned form of a path, as the application writes
// it for the running instance.
std::string absolutePath(const std::string &path)
{
    std::string whole = path;
    if (whole.empty() || whole.front() != '/') {
        char cwd[PATH_MAX];
        if (!::getcwd(cwd, sizeof cwd))
            return {};
        whole = std::string(cwd) + '/' + whole;
    }
    Strings parts;
    size_t start = 0;
    while (start <= whole.size()) {
        size_t end = whole.find('/', start);
        if (end == std::string::npos)
            end = whole.size();
        const std::string part = whole.substr(start, end - start);
        if (part == "..") {
            if (!parts.empty())
                parts.pop_back();
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        start = end + 1;
    }
    std::string clean;
    for (const std::string &part : parts)
        clean += '/' + part;
    return clean.empty() ? "/" : clean;
}

std::string socketPath()
{
    const char *dir = std::getenv("XDG_RUNTIME_DIR");
    if (!dir || !*dir)
        dir = std::getenv("TMPDIR");
    if (!dir || !*dir)
        dir = "/tmp";
    const char *id = std::getenv("TESSLY_APP_ID");
    if (!id || !*id)
        id = TESSLY_DEFAULT_APP_ID;
    std::string path = dir;
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path + '/' + id + ".socket";
}

// A connection to the running instance, or -1 when none answers.
int connectToInstance()
{
    const std::string path = socketPath();
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return -1;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    if (::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

struct Answer
{
    bool ok = false;
    std::string message;
};

bool writeAll(int fd, const std::string &data)
{
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = ::send(fd, data.data() + done, data.size() - done, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += size_t(n);
    }
    return true;
}

// Sends one request over `fd` and reads its one-line answer.
bool exchange(int fd, const char *command, const Strings &arguments, Answer &answer)
{
    cJSON *request = cJSON_CreateObject();
    cJSON_AddStringToObject(request, "command", command);
    cJSON *list = cJSON_AddArrayToObject(request, "arguments");
    for (const std::string &argument : arguments)
        cJSON_AddItemToArray(list, cJSON_CreateString(argument.c_str()));
    char *text = cJSON_PrintUnformatted(request);
    cJSON_Delete(request);
    const bool sent = text && writeAll(fd, std::string(text) + '\n');
    cJSON_free(text);
    if (!sent)
        return false;

    std::string line;
    char buffer[4096];
    while (line.find('\n') == std::string::npos) {
        pollfd readable { fd, POLLIN, 0 };
        const int ready = ::poll(&readable, 1, kAnswerTimeoutMs);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return false;
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        line.append(buffer, size_t(n));
    }
    line.resize(line.find('\n'));
    cJSON *reply = cJSON_Parse(line.c_str());
    const cJSON *ok = cJSON_GetObjectItemCaseSensitive(reply, "ok");
    const cJSON *message = cJSON_GetObjectItemCaseSensitive(reply, "message");
    const bool understood = cJSON_IsBool(ok);
    if (understood) {
        answer.ok = cJSON_IsTrue(ok);
        answer.message = cJSON_IsString(message) ? message->valuestring : "";
    }
    cJSON_Delete(reply);
    return understood;
}

// The `share` command, when every argument is a web address or an existing
// file: the link goes to the clipboard of the running instance. Returns the
// exit code, or -1 to leave the run to the application.
int share(const Strings &args)
{
    if (args.empty())
        return -1;
    Strings arguments;
    for (const std::string &arg : args) {
        if (isUrl(arg)) {
            arguments.push_back(arg);
            continue;
        }
        if (!exists(arg))
            return -1;
        arguments.push_back(absolutePath(arg));
        if (arguments.back().empty())
            return -1;
    }
    const int fd = connectToInstance();
    if (fd < 0)
        return -1;
    Answer answer;
    const bool answered = exchange(fd, "share", arguments, answer);
    ::close(fd);
    // The request may have been taken: asking again could share twice.
    if (!answered) {
        std::fputs("tessly share: the running Tessly Cloud did not answer; start it with `tessly` first\n", stderr);
        return 1;
    }
    if (!answer.ok) {
        std::fprintf(stderr, "tessly share: %s\n", answer.message.c_str());
        return 1;
    }
    std::fputs("Handed to Tessly Cloud; the link will be on the clipboard.\n", stdout);
    return 0;
}

// A hand-over to the running instance: `command` with its arguments. Returns
// the exit code, or -1 when no instance answered.
int forward(const char *command, const Strings &arguments)
{
    const int fd = connectToInstance();
    if (fd < 0)
        return -1;
    Answer answer;
    const bool answered = exchange(fd, command, arguments, answer);
    ::close(fd);
    if (!answered)
        return -1;
    if (!answer.ok)
        std::fprintf(stderr, "tessly: %s\n", answer.message.c_str());
    return answer.ok ? 0 : 1;
}

// What the application would do with these arguments if it can be done
// without it: the exit code, or -1.
int handOver(const Strings &args)
{
    for (const std::string &arg : args) {
        if (!isUtf8(arg.c_str()))
            return -1; // the application gives such names a readable alias
    }
    bool handedOver = !args.empty();
    for (const std::string &arg : args)
        handedOver = handedOver && (isUrl(arg) || exists(arg));
    if (args.size() == 2 && args[0] == "--action")
        return forward("perform", { args[1] });
    if (handedOver) {
        Strings absolute;
        for (const std::string &arg : args)
            absolute.push_back(isUrl(arg) ? arg : absolutePath(arg));
        return forward("open", absolute);
    }
    if (args.empty())
        return forward("reopen", {});
    if (args[0] == "share")
        return share(Strings(args.begin() + 1, args.end()));
    return -1;
}

// The application module: beside the private executables when installed,
// else the build tree's.
std::string applicationModule()
{
    char self[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (length > 0) {
        self[length] = '\0';
        const std::string installed = std::string(::dirname(self)) + "/../" TESSLY_LIBEXEC_DIR "/tessly-app.so";
        if (exists(installed))
            return installed;
    }
    return TESSLY_BUILD_LIBEXEC_DIR "/tessly-app.so";
}

} // namespace

int main(int argc, char *argv[])
{
    const int code = handOver(Strings(argv + 1, argv + argc));
    if (code >= 0)
        return code;
    const std::string module = applicationModule();
    void *application = ::dlopen(module.c_str(), RTLD_LAZY | RTLD_GLOBAL);
    if (!application) {
        std::fprintf(stderr, "tessly: Tessly Cloud is not installed completely: %s\n", ::dlerror());
        return 127;
    }
    using Main = int (*)(int, char **);
    const auto run = reinterpret_cast<Main>(::dlsym(application, "tesslyMain"));
    if (!run) {
        std::fprintf(stderr, "tessly: %s is not Tessly Cloud's application\n", module.c_str());
        return 127;
    }
    return run(argc, argv);
}
