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

bool NextValue(int argc, char** argv, int& i, std::string& dst)
{
    if (i + 1 >= argc) return false;
    dst = argv[++i];
    return true;
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
    {"elev", krtes::CmdElev,
     "elev SURFACE [POINTS] [--step D] [-o OUT]\n"
     "      Elevation of SURFACE (.obj, .ply or .stl mesh, or a point file, triangulated)\n"
     "      at each x y of POINTS, or on a grid over its extent (spacing D). Writes x y z\n"
     "      lines; points off the surface are listed as '# off surface: x y' comments."},
    {"drape", krtes::CmdDrape,
     "drape SURFACE LINES [-o OUT]\n"
     "      Lays each polyline of LINES (blocks of x y z lines; z is ignored) onto SURFACE\n"
     "      and writes the draped pieces as polyline blocks (a closed piece repeats its\n"
     "      first point). Lines leaving the surface are split where they leave it."},
    {"fit", krtes::CmdFit,
     "fit REFERENCE [--points FILE] [--lines FILE] [--boundary FILE] [--diff] [--type 0|1|2]\n"
     "      [-o OUT] POINTS_TO_FIT\n"
     "      Fits the heights of POINTS_TO_FIT (x y z per line; z is replaced) to the REFERENCE\n"
     "      surface (mesh or point file) and to measured data: points, lines and a boundary\n"
     "      given as elevations, or with --diff as differences (reference minus measured).\n"
     "      Type 0 fits a surface through the differences (outside it, the nearest outline\n"
     "      difference), 1 one line joined from --lines alone, 2 a fan from the one --points\n"
     "      point to --boundary. Writes x y z lines; refused points are listed as comments."},
    {"collide", krtes::CmdCollide,
     "collide A B\n"
     "      Tells whether meshes A and B (.obj, .ply or .stl) touch, and prints the closest\n"
     "      distance found and the pair of triangles giving it (triangles that do not meet\n"
     "      are measured between their centroids)."},
    {"boolean", krtes::CmdBoolean,
     "boolean A B --op union|intersection|a-minus-b|b-minus-a -o OUT [--diagnostics DIR] [--keep-broken]\n"
     "      Combines two closed, consistently oriented solids A and B (.obj, .ply or .stl)\n"
     "      and writes the result as .obj or .ply. The diagnostic files of the solid boolean\n"
     "      are kept in DIR when asked for, and dropped otherwise. When a solid could not be\n"
     "      sorted against the other, or the result is not closed, not consistently oriented,\n"
     "      runs into itself or has a volume the operation cannot give, the command names the\n"
     "      fault and exits with 1 without writing OUT (--keep-broken writes it anyway)."},
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
