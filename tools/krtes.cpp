// krtes: the command-line face of KrTesGeometry.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "KrTesCommands.h"

namespace krtes {

int Fail(const std::string& msg)
{
    std::fprintf(stderr, "krtes: %s\n", msg.c_str());
    return 1;
}

std::string SamplePoints()
{
#ifdef KRTES_DATA_DIR
    return std::string(KRTES_DATA_DIR) + "/jacksboro_scattered.xyz";
#else
    return "data/jacksboro_scattered.xyz";
#endif
}

namespace {
double Now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
}  // namespace

Timer::Timer() : m_t0(Now()) {}
double Timer::Seconds() const { return Now() - m_t0; }

}  // namespace krtes

namespace {

struct Command {
    const char* name;
    int (*run)(int, char**);
    const char* help;
};

// One entry per command (keep the usage text beside it).
const Command kCommands[] = {
    {"tin", krtes::CmdTin,
     "tin [POINTS] [--breaklines FILE] [--outline FILE] [--holes FILE] [--split-crossings] [-o OUT]\n"
     "      Triangulates survey points (x y z per line) into a TIN, honouring breaklines,\n"
     "      an outline and holes (polyline files: one block of x y z lines per polyline,\n"
     "      blocks separated by a blank line). OUT is written as .obj or .ply.\n"
     "      Without POINTS the bundled sample terrain is used."},
};

void Usage(std::FILE* f)
{
    std::fputs("usage: krtes <command> [arguments]\n\ncommands:\n", f);
    for (const Command& c : kCommands) std::fprintf(f, "  %s\n", c.help);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || !std::strcmp(argv[1], "-h") || !std::strcmp(argv[1], "--help")) {
        Usage(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    for (const Command& c : kCommands)
        if (!std::strcmp(argv[1], c.name)) return c.run(argc - 2, argv + 2);
    Usage(stderr);
    return krtes::Fail(std::string("unknown command '") + argv[1] + "'");
}
