#ifndef KRTES_CGEDATAPOINT3D_H
#define KRTES_CGEDATAPOINT3D_H

// Interchange point: three doubles x, y, z, in this order and nothing before
// them, so that the geometry library can copy the first three fields directly.
class CGeDataPoint3D {
public:
    double x;
    double y;
    double z;

    CGeDataPoint3D() : x(0.0), y(0.0), z(0.0) {}
    CGeDataPoint3D(double dx, double dy, double dz) : x(dx), y(dy), z(dz) {}
};

#endif
