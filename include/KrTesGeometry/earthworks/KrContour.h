#ifndef KRTES_KRCONTOUR_H
#define KRTES_KRCONTOUR_H

#include <cstdint>
#include <string>
#include <vector>

#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/sTriID.h"

namespace TesTriMesh {

class CKrMeshData;

// One contour line: a single chain through the surface at one level.
struct KrContourLine {
    double level = 0.0;       // base + k * interval
    int64_t k = 0;            // the level's number
    bool isIndex = false;     // k is a multiple of the index step
    bool closed = false;      // a loop (the first point is not repeated)
    std::vector<CKrPoint3d> pts;  // z == level at every point
};

struct KrContourOptions {
    double interval = 1.0;  // the level spacing D, > 0
    double base = 0.0;      // Z0: the levels are Z0 + k D for every integer k
    int indexEvery = 0;     // flag every Nth level (k % N == 0) as an index contour; 0: none
    unsigned threads = 0;   // worker threads; 0: the hardware's count (the result does not depend on it)
};

struct KrContourResult {
    // Ordered by level, then by the first triangle of each line in the
    // triangle order.
    std::vector<KrContourLine> lines;
    std::string error;  // empty on success
};

// The contours of a surface at every level Z0 + k D between its lowest and
// highest point.
//
// A vertex lying exactly on a level counts as above it (z >= level is the one
// test everywhere), so each triangle gives at most one segment per level, and
// the two triangles on an edge compute the same crossing point (from the
// lower end to the upper, the upper end itself when it is on the level).
// Segments are joined through the triangles' shared edges into chains that
// keep the higher ground on their left; a chain is closed or ends on the
// surface's border. Zero-length pieces (a chain passing through a vertex on
// the level) are dropped, and so is a chain's way along an edge and straight
// back (a ridge exactly on the level with lower ground on both sides, which
// encloses nothing above it); a loop shrunk to a point (a peak exactly on a
// level) or to such a ridge is no line.
//
// Triangles of either winding are taken (each is turned counter-clockwise in
// plan); triangles of zero plan area are skipped, and a chain meeting one
// ends there.
KRTES_API bool KrContours(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris,
                          const KrContourOptions& opt, KrContourResult& out);
KRTES_API bool KrContours(const CKrMeshData& mesh, const KrContourOptions& opt, KrContourResult& out);

}  // namespace TesTriMesh

#endif
