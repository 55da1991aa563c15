// lumora-json: prints or saves one value of a JSON document.
//
//   lumora-json extract KEYPATH json|raw -o OUT INPUT
//
// INPUT is a file, or "-" for standard input; OUT is a file, or "-" for standard output. A file
// output is written to a temporary file beside it with mode 0600 and renamed into place, so a
// reader never sees part of it. When the input is not JSON, or holds no value at KEYPATH, the
// tool says why on standard error, writes nothing and exits with 1; wrong usage exits with 2.

#include "JsonExtract.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using lumora::jsontool::Format;

int usage() {
    std::fputs("usage: lumora-json extract KEYPATH json|raw -o OUT INPUT\n"
               "  INPUT and OUT may be \"-\" for standard input and output.\n",
               stderr);
    return 2;
}

int failure(const std::string& message) {
    std::fprintf(stderr, "lumora-json: %s\n", message.c_str());
    return 1;
}

bool readAll(int fd, std::string& into) {
    char buffer[16384];
    while (true) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        if (got == 0) {
            return true;
        }
        into.append(buffer, static_cast<std::size_t>(got));
        if (into.size() > lumora::jsontool::maximumInputSize) {
            return true; // extract() refuses it; no need to read on
        }
    }
}

bool writeAll(int fd, std::string_view data) {
    while (!data.empty()) {
        const ssize_t written = ::write(fd, data.data(), data.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        data.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

bool writeFileAtomically(const std::string& path, std::string_view data, std::string& error) {
    std::string temporary = path + ".XXXXXX";
    const int fd = ::mkstemp(temporary.data()); // created with mode 0600
    if (fd < 0) {
        error = "cannot create a file beside " + path + ": " + std::strerror(errno);
        return false;
    }
    const bool written = writeAll(fd, data) && ::fsync(fd) == 0;
    const int writeError = errno;
    if (::close(fd) != 0 || !written) {
        error = "cannot write " + path + ": " + std::strerror(written ? errno : writeError);
        ::unlink(temporary.c_str());
        return false;
    }
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        error = "cannot replace " + path + ": " + std::strerror(errno);
        ::unlink(temporary.c_str());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 7 || std::string_view(argv[1]) != "extract" || std::string_view(argv[4]) != "-o") {
        return usage();
    }
    const std::string_view keyPath = argv[2];
    const std::string_view formatName = argv[3];
    const std::string output = argv[5];
    const std::string_view input = argv[6];
    Format format;
    if (formatName == "json") {
        format = Format::json;
    } else if (formatName == "raw") {
        format = Format::raw;
    } else {
        return usage();
    }

    std::string document;
    int inputFd = STDIN_FILENO;
    if (input != "-") {
        inputFd = ::open(argv[6], O_RDONLY | O_CLOEXEC);
        if (inputFd < 0) {
            return failure("cannot open " + std::string(input) + ": " + std::strerror(errno));
        }
    }
    const bool read = readAll(inputFd, document);
    if (inputFd != STDIN_FILENO) {
        ::close(inputFd);
    }
    if (!read) {
        return failure(std::string("cannot read the input: ") + std::strerror(errno));
    }

    auto result = lumora::jsontool::extract(document, keyPath, format);
    if (!result.value) {
        return failure(result.error);
    }
    if (format == Format::raw || output == "-") {
        result.value->push_back('\n');
    }
    if (output == "-") {
        return writeAll(STDOUT_FILENO, *result.value) ? 0 : failure("cannot write the output");
    }
    std::string error;
    return writeFileAtomically(output, *result.value, error) ? 0 : failure(error);
}
