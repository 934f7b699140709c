// Helpers of the file tests: plain byte access to files behind the library's
// back, and the temporary directory they live in.
#ifndef TESTS_CORE_IO_IOTESTSUPPORT_H
#define TESTS_CORE_IO_IOTESTSUPPORT_H

#include "core/text/oxstring.h"
#include "oxtempdir.h"

#include <cstdio>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

inline COxString oxName(const std::string& path)
{
    return COxString::fromLocal8Bit(path.c_str());
}

inline void writeBytes(const std::string& path, const std::string& content)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
        return;
    std::fwrite(content.data(), 1, content.size(), f);
    std::fclose(f);
}

// The file's content; "<missing>" when it cannot be opened.
inline std::string readBytes(const std::string& path)
{
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f)
        return "<missing>";
    std::string content;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0)
        content.append(buffer, n);
    std::fclose(f);
    return content;
}

inline bool pathExists(const std::string& path)
{
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0;
}

inline std::string str(const COxByteArray& bytes)
{
    return std::string(bytes.constData(), size_t(bytes.size()));
}

inline std::string str(const COxString& text)
{
    return str(text.toUtf8());
}

// Runs body in a child process and gives its result (0 to 255), or -1 when
// the child did not exit by itself.
inline int inChild(const std::function<int()>& body)
{
    std::fflush(nullptr); // nothing buffered comes out twice
    const pid_t pid = ::fork();
    if (pid == 0)
        _exit(body());
    int status = 0;
    ::waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs body as an ordinary user, whose permissions count: in a child that
// gives up root when the tests run as root. body's result, or -1.
inline int asOrdinaryUser(const std::function<int()>& body)
{
    if (::geteuid() != 0)
        return body();
    return inChild([&body] { return ::setgid(65534) == 0 && ::setuid(65534) == 0 ? body() : 255; });
}

#endif // TESTS_CORE_IO_IOTESTSUPPORT_H
