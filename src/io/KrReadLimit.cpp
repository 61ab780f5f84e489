#include "KrTesGeometry/io/KrReadLimit.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <limits>
#include <string>

#if defined(__unix__) || defined(__APPLE__)
#include <sys/resource.h>
#include <unistd.h>
#endif

#include "io/KrTextScanner.h"

namespace krtes {

namespace {

std::atomic<std::size_t> g_limit{0};

constexpr std::size_t kUnknown = std::numeric_limits<std::size_t>::max();

// The first number of a one-line file such as memory.max ("max" when
// unlimited), or kUnknown.
std::size_t ReadNumberFile(const char* path)
{
    std::ifstream in(path);
    unsigned long long v = 0;
    if (!(in >> v)) return kUnknown;
    return static_cast<std::size_t>(v);
}

// Linux reports what can be allocated without swapping as MemAvailable.
std::size_t MemAvailable()
{
    std::ifstream in("/proc/meminfo");
    std::string key;
    unsigned long long kb = 0;
    std::string unit;
    while (in >> key >> kb) {
        std::getline(in, unit);
        if (key == "MemAvailable:") return static_cast<std::size_t>(kb) * 1024;
    }
#if defined(_SC_AVPHYS_PAGES) && defined(_SC_PAGESIZE)
    const long pages = sysconf(_SC_AVPHYS_PAGES), size = sysconf(_SC_PAGESIZE);
    if (pages > 0 && size > 0) return static_cast<std::size_t>(pages) * static_cast<std::size_t>(size);
#endif
    return kUnknown;
}

std::size_t AutomaticLimit()
{
    std::size_t free = MemAvailable();
    // A container (cgroup v2) may allow less than the machine has free.
    const std::size_t max = ReadNumberFile("/sys/fs/cgroup/memory.max");
    const std::size_t used = ReadNumberFile("/sys/fs/cgroup/memory.current");
    if (max != kUnknown && used != kUnknown && used < max && max - used < free) free = max - used;
#if defined(__unix__) || defined(__APPLE__)
    // An address-space limit (ulimit -v) turns running out into a failed
    // allocation; count the room left under it.
    rlimit as{};
    if (getrlimit(RLIMIT_AS, &as) == 0 && as.rlim_cur != RLIM_INFINITY) {
        std::ifstream statm("/proc/self/statm");
        unsigned long long pages = 0;
        const long pageSize = sysconf(_SC_PAGESIZE);
        const std::size_t mapped = (statm >> pages) && pageSize > 0 ? pages * static_cast<std::size_t>(pageSize) : 0;
        const std::size_t room = as.rlim_cur > mapped ? static_cast<std::size_t>(as.rlim_cur) - mapped : 0;
        if (room < free) free = room;
    }
#endif
    if (free == kUnknown) return kUnknown;
    return free / 4 * 3;
}

}  // namespace

void SetReadMemoryLimit(std::size_t bytes) { g_limit.store(bytes, std::memory_order_relaxed); }

std::size_t ReadMemoryLimit()
{
    const std::size_t set = g_limit.load(std::memory_order_relaxed);
    return set != 0 ? set : AutomaticLimit();
}

namespace io {

CKrReadBudget::CKrReadBudget() : m_limit(ReadMemoryLimit()) {}

std::string CKrReadBudget::TooLarge(const std::string& what) const
{
    char mb[32];
    std::snprintf(mb, sizeof mb, "%.1f", static_cast<double>(m_limit) / (1 << 20));
    return "the file is too large for the memory a read may use here (" + what + ", limit " + mb +
           " MB); raise it with SetReadMemoryLimit or split the file";
}

}  // namespace io
}  // namespace krtes
