#ifndef KRTES_KRFIT_H
#define KRTES_KRFIT_H

#include <vector>

#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/KrPolyLine.h"
#include "KrTesGeometry/KrTesExport.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace TesTriMesh {

// Fits the heights of new points to a reference surface and to measured data.
//
// The data - discrete points (LSD), constraint lines (YSX) and a boundary
// (BJX) - come either as heights (GaoCheng) or as differences (GaoCha)
// against the reference surface; a difference is the reference height minus
// the data height, kept in z at the data's plan position. From the
// differences the object builds a difference model, and FitPt sets a point's
// z to the reference height there minus the modelled difference. Fit types:
//   0  a Delaunay surface through the differences; points outside it take
//      the difference of the nearest point of its outline;
//   1  one polyline joined from the difference lines; every point takes the
//      difference of its nearest point (lines only, no points or boundary);
//   2  a fan from one difference point to the boundary (exactly one point,
//      no lines); points outside the fan are not fitted.
//
// The model is built once, by the first FitPt; data given after it are not
// taken into account (use a new object for new data). The reference mesh's
// octree must be current (CKrMeshData::ResetOctTree) while the object is
// used; the object does not own the mesh.
class KRTES_API CKrFit {
public:
    explicit CKrFit(const CKrMeshData& ref);
    virtual ~CKrFit();
    CKrFit(const CKrFit&) = delete;
    CKrFit& operator=(const CKrFit&) = delete;

    void SetFitType(int type) { m_nFitType = type; }
    int GetFitType() const { return m_nFitType; }
    // Append the points (lines) to the differences when isDiff, else to the
    // heights.
    void SetLSD(const std::vector<CKrPoint3d>& pts, bool isDiff);
    void SetYSX(const std::vector<CKrPolyLine>& lines, bool isDiff);
    // Replaces the boundary given as differences (isDiff) or as heights.
    void SetBJX(const std::vector<CKrPoint3d>& pts, bool isDiff);

    // Whether the data suit the fit type: type 1 takes lines only; type 2
    // needs exactly one point in one of the point lists and no lines; other
    // types need only not be negative.
    bool CheckData() const;
    // Fills the working difference lists from the data. Differences given
    // directly win over heights of the same kind. Heights off the reference
    // surface are dropped: points and line vertices one by one, the
    // boundary as a whole. Always true.
    bool TraGaoChengToGaoCha();
    // TraGaoChengToGaoCha, then the model of the fit type. False when no
    // model can be built (unknown type, no usable data, lines that do not
    // join, a fan without triangles, a difference surface without outline).
    bool CalcFitPara();
    // z from the difference surface: reference height minus the surface's
    // difference; false (p unchanged) off either surface or before a model.
    bool MapCalcPt(CKrPoint3d& p) const;
    // z from the fit polyline: reference height minus the difference of the
    // polyline's nearest point in plan; false (p unchanged) off the reference
    // surface or without a polyline.
    bool PlFitCalcPt(CKrPoint3d& p) const;
    // Sets p.z to the fitted height. The first call checks the data and
    // builds the model; false (p unchanged) when that fails or the point
    // cannot be fitted.
    bool FitPt(CKrPoint3d& p);

    // The model, for inspection: whether a difference surface was built, the
    // surface itself and the fit polyline (the surface's outline for type 0,
    // the joined lines for type 1).
    bool IsReady() const { return m_bReady; }
    // True until a model has been built (by the first successful FitPt).
    bool IsDirty() const { return m_bDirty; }
    const CKrMeshData& GetDiffMesh() const { return m_diffMesh; }
    const CKrPolyLine& GetFitLine() const { return m_plFit; }

private:
    friend class CKrFitTestAccess;  // test hook: defined only by the unit tests

    // The fit polyline when the difference points cannot be triangulated
    // (fewer than three distinct plan positions, or all on one line): the
    // data ordered along their main plan direction, so that a point takes
    // the difference of the nearest data, interpolated between neighbours
    // along the line. False without usable data.
    bool BuildFallbackLine();

    const CKrMeshData* m_pRefMesh;
    std::vector<CKrPoint3d> m_vecPtGaoCheng;   // discrete points as heights
    std::vector<CKrPoint3d> m_vecPtGaoCha;     // discrete points as differences
    std::vector<CKrPolyLine> m_vecPlGaoCheng;  // constraint lines as heights
    std::vector<CKrPolyLine> m_vecPlGaoCha;    // constraint lines as differences
    std::vector<CKrPoint3d> m_vecBjGaoCheng;   // boundary as heights
    std::vector<CKrPoint3d> m_vecBjGaoCha;     // boundary as differences
    std::vector<CKrPoint3d> m_vecDiffPts;      // working differences: points
    std::vector<CKrPolyLine> m_vecDiffLines;   // working differences: lines
    std::vector<CKrPoint3d> m_vecDiffBj;       // working differences: boundary
    CKrMeshData m_diffMesh;                    // the difference surface
    bool m_bReady;
    CKrPolyLine m_plFit;
    bool m_bDirty;
    int m_nFitType;
};

}  // namespace TesTriMesh

#endif
