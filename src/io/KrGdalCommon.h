#ifndef KRTES_IO_KRGDALCOMMON_H
#define KRTES_IO_KRGDALCOMMON_H

// What the GDAL-backed formats share: the drivers registered once, GDAL's
// messages caught rather than printed, and writing through a scratch folder
// so that a file set (a shapefile is several files) appears whole or not at
// all.

#include <cpl_conv.h>
#include <cpl_error.h>
#include <gdal_priv.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

namespace krtes {
namespace io {

inline void GdalInit()
{
    static std::once_flag once;
    std::call_once(once, [] { GDALAllRegister(); });
}

// While alive, GDAL's messages go nowhere (the caller reports the failure)
// and the last one is kept.
class CGdalQuiet {
public:
    CGdalQuiet()
    {
        GdalInit();
        CPLPushErrorHandler(CPLQuietErrorHandler);
        CPLErrorReset();
    }
    ~CGdalQuiet() { CPLPopErrorHandler(); }
    CGdalQuiet(const CGdalQuiet&) = delete;
    CGdalQuiet& operator=(const CGdalQuiet&) = delete;

    // ": <GDAL's last message>" or "".
    static std::string Why()
    {
        const char* m = CPLGetLastErrorMsg();
        return m && *m ? std::string(": ") + m : std::string();
    }
};

// Runs write(target) with target a path of the same file name in a fresh
// scratch folder beside path, then moves every file it made next to path.
// On failure the scratch folder goes and nothing at path changes.
inline bool WriteThroughScratch(const std::string& path, const std::function<bool(const std::string&, std::string&)>& write,
                                std::string& err)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::path dest(path);
    const fs::path dir = dest.has_parent_path() ? dest.parent_path() : fs::path(".");
    const fs::path scratch = dir / (dest.filename().string() + ".part.d");
    fs::remove_all(scratch, ec);
    if (!fs::create_directory(scratch, ec)) {
        err = path + ": cannot create file: " + ec.message();
        return false;
    }
    bool ok = write((scratch / dest.filename()).string(), err);
    if (ok) {
        std::vector<fs::path> made;
        for (const fs::directory_entry& e : fs::directory_iterator(scratch, ec)) made.push_back(e.path());
        std::sort(made.begin(), made.end());
        for (const fs::path& f : made) {
            fs::rename(f, dir / f.filename(), ec);
            if (ec) {
                err = path + ": write failed: " + ec.message();
                ok = false;
                break;
            }
        }
    }
    fs::remove_all(scratch, ec);
    return ok;
}

}  // namespace io
}  // namespace krtes

#endif
