#ifndef KRTES_TESTS_FUZZ_FUZZCOMMON_H
#define KRTES_TESTS_FUZZ_FUZZCOMMON_H

// What every fuzz target shares: a reader of the fuzzer's bytes, files for
// the readers that take a path, and the failure a check raises. The checks
// (the Check functions FuzzTargets.h lists) throw krfuzz::Failure; the
// libFuzzer entry turns it into an abort, the replay test into a test
// failure, so the same code judges a fuzzer run and a regression.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace krfuzz {

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] inline void Fail(const std::string& what, const char* file, int line)
{
    throw Failure(std::string(file) + ":" + std::to_string(line) + ": check failed: " + what);
}

#define KRFUZZ_REQUIRE(cond) \
    do { if (!(cond)) ::krfuzz::Fail(#cond, __FILE__, __LINE__); } while (0)
#define KRFUZZ_REQUIRE_MSG(cond, msg) \
    do { if (!(cond)) ::krfuzz::Fail(std::string(#cond) + " (" + (msg) + ")", __FILE__, __LINE__); } while (0)

// Consumes the fuzzer's bytes front to back; past the end every value is 0,
// so any input decodes to something.
class Bytes {
public:
    Bytes(const uint8_t* data, std::size_t size) : m_p(data), m_n(size) {}
    uint8_t U8() { return m_i < m_n ? m_p[m_i++] : 0; }
    // A value in [0, n) (n > 0) from two bytes, low first (in that order,
    // whatever order the compiler evaluates operands in).
    int Below(int n)
    {
        const int lo = U8();
        return (lo | U8() << 8) % n;
    }
    double F64()
    {
        uint64_t v = 0;
        for (int k = 0; k < 8; ++k) v |= static_cast<uint64_t>(U8()) << (8 * k);
        double d;
        std::memcpy(&d, &v, sizeof d);
        return d;
    }

private:
    const uint8_t* m_p;
    std::size_t m_n, m_i = 0;
};

// Writes the bytes to a file of that name in the working directory (every
// check runs in a scratch directory of its own) and returns its absolute path.
inline std::string WriteFile(const char* name, const uint8_t* data, std::size_t size)
{
    const std::string path = std::filesystem::absolute(name).string();
    std::FILE* f = std::fopen(path.c_str(), "wb");
    const bool ok = f && (size == 0 || std::fwrite(data, 1, size, f) == size);
    if (!f || std::fclose(f) != 0 || !ok) Fail("cannot write " + path, __FILE__, __LINE__);
    return path;
}

using CheckFn = int (*)(const uint8_t*, std::size_t);

}  // namespace krfuzz

#endif
