#ifndef KRTES_TESTS_FUZZ_FUZZCOMMON_H
#define KRTES_TESTS_FUZZ_FUZZCOMMON_H

// What every fuzz target shares: a reader of the fuzzer's bytes, per-process
// scratch files for the readers that take a path, and the failure a check
// raises. The check functions (Check<Target> in <target>.h) throw
// krfuzz::Failure; the libFuzzer entry turns it into an abort, the replay test
// into a test failure, so the same code judges a fuzzer run and a regression.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

#define KRFUZZ_REQUIRE(cond)                                        \
    do {                                                            \
        if (!(cond)) ::krfuzz::Fail(#cond, __FILE__, __LINE__);     \
    } while (0)
#define KRFUZZ_REQUIRE_MSG(cond, msg)                                              \
    do {                                                                           \
        if (!(cond)) ::krfuzz::Fail(std::string(#cond) + " (" + (msg) + ")", __FILE__, __LINE__); \
    } while (0)

// Consumes the fuzzer's bytes front to back; past the end every value is 0,
// so any input decodes to something.
class Bytes {
public:
    Bytes(const uint8_t* data, std::size_t size) : m_p(data), m_n(size) {}
    bool Empty() const { return m_i >= m_n; }
    std::size_t Left() const { return m_i < m_n ? m_n - m_i : 0; }
    uint8_t U8() { return m_i < m_n ? m_p[m_i++] : 0; }
    uint16_t U16() { return static_cast<uint16_t>(U8() | (U8() << 8)); }
    // A value in [0, n) (n > 0).
    int Below(int n) { return n > 0 ? static_cast<int>(U16() % static_cast<unsigned>(n)) : 0; }
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
    std::size_t m_n;
    std::size_t m_i = 0;
};

// A file of this process in the temp directory, removed when the object goes.
// Fuzzers and the replay test may run side by side: the process id keeps
// their files apart.
class TempFile {
public:
    explicit TempFile(const char* name)
    {
        const char* dir = std::getenv("TMPDIR");
        m_path = std::string(dir && *dir ? dir : "/tmp") + "/krfuzz_" + std::to_string(getpid()) + "_" + name;
    }
    ~TempFile() { std::remove(m_path.c_str()); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    const std::string& Path() const { return m_path; }
    void Write(const uint8_t* data, std::size_t size) const
    {
        std::FILE* f = std::fopen(m_path.c_str(), "wb");
        if (!f) Fail("cannot write " + m_path, __FILE__, __LINE__);
        const bool ok = (size == 0 || std::fwrite(data, 1, size, f) == size);
        if (std::fclose(f) != 0 || !ok) Fail("cannot write " + m_path, __FILE__, __LINE__);
    }

private:
    std::string m_path;
};

// The libFuzzer side: a failed check is a crash.
template <class Check>
int RunOrAbort(Check check, const uint8_t* data, std::size_t size)
{
    try {
        return check(data, size);
    } catch (const Failure& f) {
        std::fprintf(stderr, "%s\n", f.what());
        std::fflush(stderr);
        std::abort();
    }
}

}  // namespace krfuzz

#endif
