// A short host program: reads survey points, reports their extent, and moves
// them into a local frame lying in the plane through three of them.
#include <KrTesGeometry.h>

#include <algorithm>
#include <cfloat>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    const std::string path = argc > 1 ? argv[1] : KRTES_DATA_DIR "/jacksboro_scattered.xyz";
    std::ifstream in(path);
    if (!in) {
        std::fprintf(stderr, "krtes_example: cannot open %s\n", path.c_str());
        return 1;
    }
    std::vector<CKrPoint3d> pts;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream ss(line);
        double x, y, z;
        if (ss >> x >> y >> z) pts.emplace_back(x, y, z);
    }
    if (pts.size() < 3) {
        std::fprintf(stderr, "krtes_example: %s holds fewer than 3 points\n", path.c_str());
        return 1;
    }

    CKrPoint3d lo(DBL_MAX, DBL_MAX, DBL_MAX), hi(-DBL_MAX, -DBL_MAX, -DBL_MAX);
    for (const CKrPoint3d& p : pts) {
        lo.Set(std::min(lo.x, p.x), std::min(lo.y, p.y), std::min(lo.z, p.z));
        hi.Set(std::max(hi.x, p.x), std::max(hi.y, p.y), std::max(hi.z, p.z));
    }
    std::printf("%zu points from %s\n", pts.size(), path.c_str());
    std::printf("extent x %.3f .. %.3f, y %.3f .. %.3f, z %.3f .. %.3f\n", lo.x, hi.x, lo.y, hi.y, lo.z, hi.z);

    // The plane through the first three points, as a local 2D frame.
    KrTesGeo::CGeoVector n = KrTesGeo::CGeoVector(pts[1] - pts[0]) ^ KrTesGeo::CGeoVector(pts[2] - pts[0]);
    CKrTransReferent frame;
    if (!frame.SetData(n, pts[0])) {
        std::printf("the first three points are collinear: no plane frame\n");
        return 0;
    }
    std::vector<CKrPoint3d> local, back;
    frame.Trans3DTo2D(local, pts);
    frame.Trans2DTo3D(back, local);
    double worst = 0.0;
    for (size_t i = 0; i < 3; ++i) worst = std::max(worst, back[i].Distance(pts[i]));
    std::printf("plane frame through the first three points: round trip error %.3g m\n", worst);
    return 0;
}
