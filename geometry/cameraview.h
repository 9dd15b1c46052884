// Camera descriptions (perspective by angle of view, parallel by aspect
// ratio), their projection volumes, and the projection matrices with their
// inverses, ready for OpenGL.
#pragma once

#include "geometry/geotypes.h"

namespace geokit {

// Half the diagonal of a 36 x 24 mm frame, in millimetres.
inline constexpr double half_diagonal_35mm = 21.633307652783937;

struct cameraview_t {
    double fov;    // across the image diagonal, radians
    double aspect; // width / height
    double near;
    double far;

    cameraview_t() : fov(1.570796326794881), aspect(1.3333333333333333), near(0.1), far(1000.1) {}

    void setAspectRatio(double width, double height) { aspect = width / height; }
    void setAngleFrom35mmFocalLength(double focal);
    // Deliberately not the setter's inverse: multiplies by the tangent.
    double get35mmFocalLengthFromAngle() const;
};

struct orthoview_t {
    double aspect; // width / height
    double near;
    double far;

    void setAspectRatio(double width, double height) { aspect = width / height; }
};

projection_t getPerspective(const cameraview_t& c);
// The rectangle the view covers at the far distance.
projection_t getWallPaper(const cameraview_t& c);
projection_t getOrtho(const orthoview_t& o);

// glFrustum's matrix and its exact inverse.
matrix3w_t getPerspectiveMatrix(const projection_t& p);
matrix3w_t getPerspectiveInvert(const projection_t& p);
// glOrtho's matrix and its exact inverse.
matrix3w_t getOrthoMatrix(const projection_t& p);
matrix3w_t getInvertOrthoMatrix(const projection_t& p);

matrix3w_t getEquiangularMatrix(float width, float height, float angle);
matrix3w_t getSlantMatrix(float width, float height, float slant);

} // namespace geokit
