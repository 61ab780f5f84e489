#ifndef KRTES_BENCH_PEERCLOCK_H
#define KRTES_BENCH_PEERCLOCK_H

// The clocks of the peer comparisons: wall time, processor time (on a shared
// machine the wall time of a short step mostly measures the other processes)
// and the peak resident memory of the process.

#include <sys/resource.h>

#include <chrono>

namespace peerclock {

using Clock = std::chrono::steady_clock;

inline double Since(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

inline double CpuSec()
{
    rusage ru;
    getrusage(RUSAGE_SELF, &ru);
    return static_cast<double>(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec);
}

inline double PeakMB()
{
    rusage ru;
    getrusage(RUSAGE_SELF, &ru);
    return static_cast<double>(ru.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

}  // namespace peerclock

#endif
