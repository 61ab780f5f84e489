#include "KrTesGeometry/io/KrPngFile.h"

// Built only with GDAL: the PNG encoder is its PNG driver, fed from a raster
// held in memory (the PNG driver writes only by copying a whole dataset).
#ifdef KRTES_HAVE_GDAL

#include <memory>

#include "io/KrGdalCommon.h"

namespace krtes {

bool WritePngRgb(const std::string& path, int w, int h, const std::vector<uint8_t>& rgb, std::string& err)
{
    io::CGdalQuiet quiet;
    if (w <= 0 || h <= 0 || rgb.size() != static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 3) {
        err = path + ": the picture is empty or its pixels do not fill it";
        return false;
    }
    GDALDriver* mem = GetGDALDriverManager()->GetDriverByName("MEM");
    GDALDriver* png = GetGDALDriverManager()->GetDriverByName("PNG");
    if (!mem || !png) {
        err = path + ": GDAL has no " + std::string(!mem ? "MEM" : "PNG") + " driver";
        return false;
    }
    using Dataset = std::unique_ptr<GDALDataset, void (*)(GDALDataset*)>;
    Dataset src(mem->Create("", w, h, 3, GDT_Byte, nullptr), [](GDALDataset* d) { GDALClose(d); });
    if (!src) {
        err = path + ": cannot hold the picture in memory" + io::CGdalQuiet::Why();
        return false;
    }
    // The bytes are pixel-interleaved: a pixel step of 3, a line step of 3w,
    // a band step of 1.
    if (src->RasterIO(GF_Write, 0, 0, w, h, const_cast<uint8_t*>(rgb.data()), w, h, GDT_Byte, 3, nullptr, 3,
                      static_cast<GSpacing>(w) * 3, 1, nullptr) != CE_None) {
        err = path + ": cannot hold the picture in memory" + io::CGdalQuiet::Why();
        return false;
    }
    return io::WriteThroughScratch(
        path,
        [&](const std::string& target, std::string& e) {
            CPLErrorReset();
            GDALDataset* out = png->CreateCopy(target.c_str(), src.get(), FALSE, nullptr, nullptr, nullptr);
            bool ok = out != nullptr;
            if (out) GDALClose(out);
            ok = ok && CPLGetLastErrorType() != CE_Failure && CPLGetLastErrorType() != CE_Fatal;
            if (!ok) e = path + ": write failed" + io::CGdalQuiet::Why();
            return ok;
        },
        err);
}

}  // namespace krtes

#endif
