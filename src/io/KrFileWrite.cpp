#include "KrTesGeometry/io/KrFileWrite.h"

#include <cerrno>
#include <cstring>

namespace krtes {

bool WriteFileWhole(const std::string& path, const std::function<bool(std::FILE*)>& body, std::string& err)
{
    const std::string tmp = path + ".part";
    std::FILE* f = std::fopen(tmp.c_str(), "wb");
    if (!f) {
        err = path + ": cannot create file: " + std::strerror(errno);
        return false;
    }
    bool ok = body(f);
    ok = std::fclose(f) == 0 && ok;
    ok = ok && std::rename(tmp.c_str(), path.c_str()) == 0;
    if (!ok) {
        err = path + ": write failed: " + std::strerror(errno);
        std::remove(tmp.c_str());
        return false;
    }
    return true;
}

bool WriteTextOutput(const std::string& path, const std::string& text, std::string& err)
{
    if (path.empty()) {
        if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
            err = "standard output: write failed";
            return false;
        }
        return true;
    }
    return WriteFileWhole(
        path, [&](std::FILE* f) { return std::fwrite(text.data(), 1, text.size(), f) == text.size(); }, err);
}

}  // namespace krtes
