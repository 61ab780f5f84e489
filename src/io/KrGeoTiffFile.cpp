#include "KrTesGeometry/io/KrGeoTiffFile.h"

#include <ogr_spatialref.h>

#include <cmath>
#include <memory>

#include "KrTesGeometry/io/KrMeshFile.h"
#include "io/KrGdalCommon.h"

namespace krtes {

bool IsRasterFileName(const std::string& path)
{
    const std::string e = Extension(path);
    return e == ".tif" || e == ".tiff" || e == ".asc" || e == ".dem";
}

bool WriteGeoTiffDem(const std::string& path, const SKrDemGrid& grid, const std::string& crs, std::string& err)
{
    io::CGdalQuiet quiet;
    if (grid.cols <= 0 || grid.rows <= 0 || grid.z.size() != static_cast<std::size_t>(grid.cols) * grid.rows) {
        err = path + ": the grid is empty";
        return false;
    }
    std::string wkt;
    if (!crs.empty()) {
        OGRSpatialReference srs;
        if (srs.SetFromUserInput(crs.c_str()) != OGRERR_NONE) {
            err = path + ": '" + crs + "' is not a coordinate system GDAL knows" + io::CGdalQuiet::Why();
            return false;
        }
        char* w = nullptr;
        srs.exportToWkt(&w);
        wkt = w ? w : "";
        CPLFree(w);
    }
    GDALDriver* drv = GetGDALDriverManager()->GetDriverByName("GTiff");
    if (!drv) {
        err = path + ": GDAL has no GeoTIFF driver";
        return false;
    }
    return io::WriteThroughScratch(
        path,
        [&](const std::string& target, std::string& e) {
            const char* opts[] = {"COMPRESS=DEFLATE", "PREDICTOR=3", "ZLEVEL=1", "TILED=YES", "BIGTIFF=IF_SAFER", nullptr};
            std::unique_ptr<GDALDataset, void (*)(GDALDataset*)> ds(
                drv->Create(target.c_str(), grid.cols, grid.rows, 1, GDT_Float32, const_cast<char**>(opts)),
                [](GDALDataset* d) { GDALClose(d); });
            if (!ds) {
                e = path + ": cannot create file" + io::CGdalQuiet::Why();
                return false;
            }
            double gt[6] = {grid.xmin, grid.cell, 0.0, grid.ymax, 0.0, -grid.cell};
            bool ok = ds->SetGeoTransform(gt) == CE_None;
            if (ok && !wkt.empty()) ok = ds->SetProjection(wkt.c_str()) == CE_None;
            GDALRasterBand* band = ds->GetRasterBand(1);
            ok = ok && band->SetNoDataValue(grid.noData) == CE_None;
            ok = ok && band->RasterIO(GF_Write, 0, 0, grid.cols, grid.rows, const_cast<float*>(grid.z.data()), grid.cols,
                                      grid.rows, GDT_Float32, 0, 0) == CE_None;
            // GDAL reports a failed final write only through its error state.
            CPLErrorReset();
            GDALClose(ds.release());
            ok = ok && CPLGetLastErrorType() != CE_Failure && CPLGetLastErrorType() != CE_Fatal;
            if (!ok) e = path + ": write failed" + io::CGdalQuiet::Why();
            return ok;
        },
        err);
}

bool ReadGeoTiffDem(const std::string& path, SKrDemGrid& grid, std::string& crs, std::string& err)
{
    io::CGdalQuiet quiet;
    std::unique_ptr<GDALDataset, void (*)(GDALDataset*)> ds(
        static_cast<GDALDataset*>(GDALOpenEx(path.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, nullptr, nullptr, nullptr)),
        [](GDALDataset* d) { GDALClose(d); });
    if (!ds) {
        err = path + ": cannot open as a raster" + io::CGdalQuiet::Why();
        return false;
    }
    const std::string notDem = path + ": not a grid of elevations: ";
    if (ds->GetRasterCount() != 1) {
        err = notDem + std::to_string(ds->GetRasterCount()) + " bands (an elevation grid has one)";
        return false;
    }
    GDALRasterBand* band = ds->GetRasterBand(1);
    const GDALColorInterp ci = band->GetColorInterpretation();
    if (ci != GCI_GrayIndex && ci != GCI_Undefined) {
        err = notDem + "its band holds colours (" + GDALGetColorInterpretationName(ci) + ")";
        return false;
    }
    if (GDALDataTypeIsComplex(band->GetRasterDataType())) {
        err = notDem + "its values are complex numbers";
        return false;
    }
    double gt[6];
    if (ds->GetGeoTransform(gt) != CE_None) {
        err = notDem + "it has no georeferencing (no cell size or position)";
        return false;
    }
    if (gt[2] != 0.0 || gt[4] != 0.0) {
        err = notDem + "the grid is rotated";
        return false;
    }
    if (!(gt[1] > 0) || !(gt[5] < 0) || std::fabs(gt[1] + gt[5]) > 1e-9 * gt[1]) {
        err = notDem + "its cells are not square and north-up (" + std::to_string(gt[1]) + " by " +
              std::to_string(gt[5]) + ")";
        return false;
    }
    SKrDemGrid g;
    g.xmin = gt[0];
    g.ymax = gt[3];
    g.cell = gt[1];
    g.cols = ds->GetRasterXSize();
    g.rows = ds->GetRasterYSize();
    g.z.resize(static_cast<std::size_t>(g.cols) * g.rows);
    if (band->RasterIO(GF_Read, 0, 0, g.cols, g.rows, g.z.data(), g.cols, g.rows, GDT_Float32, 0, 0) != CE_None) {
        err = path + ": read error" + io::CGdalQuiet::Why();
        return false;
    }
    int hasNoData = 0;
    const double nd = band->GetNoDataValue(&hasNoData);
    const float ndf = static_cast<float>(nd);
    for (float& v : g.z)
        if (std::isnan(v) || (hasNoData && (v == ndf || static_cast<double>(v) == nd))) v = g.noData;
    const OGRSpatialReference* srs = ds->GetSpatialRef();
    std::string wkt;
    if (srs) {
        char* w = nullptr;
        srs->exportToWkt(&w);
        wkt = w ? w : "";
        CPLFree(w);
    }
    grid = std::move(g);
    crs = std::move(wkt);
    return true;
}

void DemPoints(const SKrDemGrid& grid, std::vector<CKrPoint3d>& pts)
{
    pts.clear();
    for (int32_t r = 0; r < grid.rows; ++r)
        for (int32_t c = 0; c < grid.cols; ++c)
            if (grid.At(c, r) != grid.noData) pts.emplace_back(grid.CentreX(c), grid.CentreY(r), grid.At(c, r));
}

void DemTin(const SKrDemGrid& grid, std::vector<CKrPoint3d>& pts, std::vector<KrTesGeo::_sTri_ID>& tris)
{
    pts.clear();
    tris.clear();
    std::vector<int32_t> index(grid.z.size(), -1);
    for (int32_t r = 0; r < grid.rows; ++r)
        for (int32_t c = 0; c < grid.cols; ++c)
            if (grid.At(c, r) != grid.noData) {
                index[static_cast<std::size_t>(r) * grid.cols + c] = static_cast<int32_t>(pts.size());
                pts.emplace_back(grid.CentreX(c), grid.CentreY(r), grid.At(c, r));
            }
    const auto at = [&](int32_t c, int32_t r) { return index[static_cast<std::size_t>(r) * grid.cols + c]; };
    for (int32_t r = 0; r + 1 < grid.rows; ++r)
        for (int32_t c = 0; c + 1 < grid.cols; ++c) {
            // nw ne / sw se; rows run south, so sw -> se -> ne is counter-clockwise.
            const int32_t nw = at(c, r), ne = at(c + 1, r), sw = at(c, r + 1), se = at(c + 1, r + 1);
            if (nw < 0 || ne < 0 || sw < 0 || se < 0) continue;
            tris.emplace_back(sw, se, ne);
            tris.emplace_back(sw, ne, nw);
        }
}

}  // namespace krtes
