#ifndef KRTES_KRPOLYLINE_H
#define KRTES_KRPOLYLINE_H

#include <vector>

#include "KrTesGeometry/geom/GeoVector.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/KrTesExport.h"

class CGeDataPLine3D;

// An ordered list of 3D vertices, open or closed. A closed polyline does not
// repeat its first vertex: its closing segment runs from the last vertex back
// to the first. Segment i runs from vertex i to vertex (i + 1) mod n; an open
// line has n - 1 segments, a closed one n.
class KRTES_API CKrPolyLine {
public:
    using CGeoVector = KrTesGeo::CGeoVector;

    CKrPolyLine() {}
    CKrPolyLine(const CKrPolyLine& other);
    CKrPolyLine& operator=(const CKrPolyLine& other);
    ~CKrPolyLine() {}

    // ---- state and vertex access ---------------------------------------------
    void SetClosed(bool closed) { m_bClosed = closed; }
    bool IsClosed() const { return m_bClosed; }
    unsigned int NumVerts() const { return static_cast<unsigned int>(m_arrVerts.size()); }
    // Read-only view of the vertex list.
    const std::vector<CKrPoint3d>& GetVerts() const { return m_arrVerts; }

    // False when i is out of range.
    bool GetVertex(unsigned int i, CKrPoint3d& pt) const;
    // Ignored when i is out of range.
    void SetVertex(unsigned int i, const CKrPoint3d& pt);
    // Replaces the vertices, dropping each vertex equal (CKrPoint3d ==) to the
    // one before it in pts. The closed flag is kept.
    void SetVertex(const std::vector<CKrPoint3d>& pts);
    void AddVertex(const CKrPoint3d& pt);
    // Inserts before vertex i; appends when i >= NumVerts().
    void InsertVertex(unsigned int i, const CKrPoint3d& pt);
    // Ignored when i is out of range.
    void DelVertex(unsigned int i);
    // Removes every vertex; the closed flag is kept.
    void Clear();

    void SetData(const CGeDataPLine3D& src);
    void OutputData(std::vector<CKrPoint3d>& pts) const;

    // Sets every vertex's elevation.
    void SetGC(double z);
    // Moves every vertex by d when add is true, by -d otherwise.
    void Offset(const CKrPoint3d& d, bool add);
    // Reverses the vertex order; the closed flag is kept.
    void Invert();

    // Joins the given polylines end to end (reversing them where needed, ends
    // matched by CKrPoint3d ==) into this polyline. A chain whose two ends
    // meet becomes a closed polyline. False, with this polyline unchanged, when
    // there is nothing to join or the pieces do not form one chain.
    bool BuildPLine(const std::vector<CKrPolyLine>& lines);

    // ---- measures -------------------------------------------------------------
    // Component-wise extremes; nothing written for an empty line.
    void GetBound(CKrPoint3d& min, CKrPoint3d& max) const;
    // Signed plan area, positive counter-clockwise; 0 for an open line.
    double GetArea() const;
    double GetLength() const;
    double GetLength2d() const;
    // Length along the line from vertex 0 to vertex i; -1.0 when i >= n.
    double GetLength(unsigned int i) const;
    double GetLength2d(unsigned int i) const;
    // Length along the line from vertex 0 to pt; -1.0 when pt is not on it.
    double GetLength(const CKrPoint3d& pt) const;
    // Index of the first vertex equal to pt (CKrPoint3d ==), -1 when none.
    int GetIndex(const CKrPoint3d& pt) const;

    // ---- point queries -------------------------------------------------------
    // Elevation at plan position (x, y), interpolated on the first segment
    // that holds it. False when no segment does.
    bool GetZbyXY(double x, double y, double& z) const;
    // The point at 3D distance len along the line from vertex 0; false for
    // len < 0, len beyond the end or fewer than 2 vertices. The second form
    // also gives the segment i -> j holding the point.
    bool GetPoint(double len, CKrPoint3d& pt) const;
    bool GetPoint(double len, CKrPoint3d& pt, int& i, int& j) const;

    // 0 off the line (i = j = -1); 1 on vertex i (j = -1); 2 inside segment
    // i -> j. A vertex match wins over a segment match. 3D test.
    int HitTest(const CKrPoint3d& pt, int& i, int& j) const;
    // The same codes in the plan.
    int HitTest2D(const CKrPoint3d& pt, int& i, int& j) const;
    // pt against the vertex ring (the closed flag is not consulted): code 1
    // inside, 0 outside, -1 on the boundary. False for fewer than 3 vertices.
    bool HitTest(const CKrPoint3d& pt, int& code, double eps) const;
    // Point on the line in the plan, within eps.
    bool IsOn2D(const CKrPoint3d& pt, double eps) const;
    // Nearest point of the line to pt in the plan, with the elevation of the
    // line there, and its segment i -> j (the earlier segment on ties).
    bool GetNearPt2D(const CKrPoint3d& pt, CKrPoint3d& near, int& i, int& j) const;

    // First point where a segment of this line meets a segment of other (3D).
    bool IntersectWithPolyLine(const CKrPolyLine& other, CKrPoint3d& pt) const;
    // Where the straight line through a and b meets this polyline in the plan:
    // of the crossings ahead of a in the direction a->b, the nearest to a.
    bool IntersectWithLine2D(const CKrPoint3d& a, const CKrPoint3d& b, CKrPoint3d& pt) const;

    // Unit 3D direction of the line at pt, which must lie on it: the direction
    // of its segment, or at a vertex the mean of the incoming and outgoing
    // directions. False when pt is off the line or no direction exists.
    bool GetPtDir(const CKrPoint3d& pt, CGeoVector& dir) const;
    // Unit normal of the plane that best fits the vertices (Newell's method on
    // the vertex ring), oriented counter-clockwise with respect to the vertex
    // order. False for fewer than 3 vertices or when they are collinear.
    bool GetNor(CGeoVector& nor) const;

private:
    void CopyObj(const CKrPolyLine& other);
    // Elevation of p on segment ab, interpolated along the segment's dominant
    // plan axis; the end's own z when p coincides with it in the plan.
    void CalcPtZ(const CKrPoint3d& a, const CKrPoint3d& b, CKrPoint3d& p) const;
    // Number of vertices within 3D length len of the start (fromStart) or of
    // the end of the line.
    unsigned int PtNumInLen(double len, bool fromStart) const;
    // Number of segments walked by the segment loops.
    unsigned int NumSegs() const;

    std::vector<CKrPoint3d> m_arrVerts;
    bool m_bClosed = false;
};

#endif
