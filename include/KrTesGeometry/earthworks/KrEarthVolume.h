#ifndef KRTES_KREARTHVOLUME_H
#define KRTES_KREARTHVOLUME_H

#include <string>
#include <vector>

#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/KrPolyLine.h"
#include "KrTesGeometry/geom/sTriID.h"

namespace TesTriMesh {

class CKrMeshData;

// Cut and fill between two piecewise-linear surfaces, or between a surface
// and a level plane.
//
// The first surface is compared against the second (or the level) over the
// region where both exist in plan, optionally clipped to a boundary polygon.
// Where the first lies above the second the difference counts as cut, where
// it lies below as fill. The two triangulations are overlaid in plan (every
// triangle of the first clipped by every triangle of the second it overlaps,
// each inside/outside decision an exact orientation test on the original
// vertices or on the computed crossing points); on each overlay piece the
// height difference is linear, so the piece is split along the line where it
// is zero and the difference integrated exactly over each part. Cut and fill
// therefore never cancel inside a piece.
//
// Triangles of either winding are accepted; triangles of zero plan area
// (vertical or collapsed) hold no volume and are ignored. Overlapping
// triangles of one surface (folds) are each counted.
struct KrEarthVolume {
    double cut = 0.0;       // volume where the first surface is above the second
    double fill = 0.0;      // volume where it is below (positive)
    double net = 0.0;       // cut - fill
    double cutArea = 0.0;   // plan area where the first is above
    double fillArea = 0.0;  // plan area where the first is below
    // The lines where the surfaces meet (difference zero between cut and
    // fill), joined into polylines; filled only when asked for. Closed lines
    // do not repeat their first point. The z of each point is the first
    // surface's height there.
    std::vector<CKrPolyLine> zeroLines;
    // Empty on success; otherwise what was wrong with the input (the result
    // is then all zero).
    std::string error;
};

struct KrEarthVolumeOptions {
    // A plan polygon (x, y; z ignored) limiting the region, either winding,
    // simple, the closing point optional; empty: no limit. Fewer than three
    // distinct corners or a zero area is an error.
    std::vector<CKrPoint3d> boundary;
    bool zeroLine = false;  // also produce KrEarthVolume::zeroLines
    // Worker threads; 0: the hardware's count. The result does not depend on
    // it: the work is cut into fixed blocks whose sums are added in order.
    unsigned threads = 0;
};

// Cut and fill of surface A (points and index triples) against surface B.
// False, with out.error set, on bad input: an index out of range, a
// non-finite coordinate, a bad boundary.
KRTES_API bool KrVolumeBetween(const std::vector<CKrPoint3d>& ptsA, const std::vector<KrTesGeo::_sTri_ID>& trisA,
                               const std::vector<CKrPoint3d>& ptsB, const std::vector<KrTesGeo::_sTri_ID>& trisB,
                               const KrEarthVolumeOptions& opt, KrEarthVolume& out);
KRTES_API bool KrVolumeBetween(const CKrMeshData& a, const CKrMeshData& b, const KrEarthVolumeOptions& opt,
                               KrEarthVolume& out);

// Cut and fill of a surface against the horizontal plane z = level over the
// whole surface (or its part inside the boundary): cut is the volume above
// the level (a stockpile over its base), fill the volume below it (a pit
// under a level).
KRTES_API bool KrVolumeToLevel(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris,
                               double level, const KrEarthVolumeOptions& opt, KrEarthVolume& out);
KRTES_API bool KrVolumeToLevel(const CKrMeshData& mesh, double level, const KrEarthVolumeOptions& opt,
                               KrEarthVolume& out);

}  // namespace TesTriMesh

#endif
