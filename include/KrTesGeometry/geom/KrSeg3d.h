#ifndef KRTES_KRSEG3D_H
#define KRTES_KRSEG3D_H

#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"

class CKrPolyLine;

// A segment from m_pt[0] (start) to m_pt[1] (end).
class KRTES_API CKrSeg3d {
public:
    CKrPoint3d m_pt[2];

    CKrSeg3d() {}
    CKrSeg3d(const CKrPoint3d& a, const CKrPoint3d& b);
    CKrSeg3d(const CKrSeg3d& s);
    CKrSeg3d& operator=(const CKrSeg3d& s);
    virtual ~CKrSeg3d();

    // True when a1-a2 and b1-b2 are the same segment in either direction,
    // with the point equality of CKrPoint3d (1e-6 per axis).
    static bool IsSameSeg(const CKrPoint3d& a1, const CKrPoint3d& a2, const CKrPoint3d& b1,
                          const CKrPoint3d& b2);

    // Chains segments that share end points (CKrPoint3d equality) into
    // polylines, replacing the contents of out. A chain runs through points
    // where exactly two segments meet and ends at free ends and branch points;
    // a chain that comes back to its start is a closed polyline (first vertex
    // not repeated). Each chain follows the direction most of its segments
    // have; chains come in the order of their first segment in segs.
    // Zero-length and repeated segments are absorbed. True when every segment
    // has been placed and at least one polyline results; false for no
    // segments or a segment with a non-finite coordinate.
    static bool LinkSeg(const std::vector<CKrSeg3d>& segs, std::vector<CKrPolyLine>& out);
};

#endif
