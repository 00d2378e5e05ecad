// The check of a file named on a host tool's command line, before it is read: the problem, named
// with the path as the user typed it, the same from every tool and option that reads a file.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace sim {

// "" when `path` is a regular file this process can read; else "<path>: <problem>".
inline std::string input_file_problem(const std::string &path) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        return path + (errno == ENOENT ? ": no such file" : ": " + std::string(std::strerror(errno)));
    }
    if (S_ISDIR(st.st_mode)) {
        return path + ": is a directory, not a file";
    }
    if (!S_ISREG(st.st_mode)) {
        return path + ": not a regular file";
    }
    if (access(path.c_str(), R_OK) != 0) {
        return path + ": cannot read: " + std::strerror(errno);
    }
    return "";
}

}  // namespace sim
