// The geometry library in one include: value types, vector, matrix and
// rotation operations, cameras and projections, and the typed text form.
#pragma once

#include "geometry/cameraview.h"
#include "geometry/color.h"
#include "geometry/geometry_in.h"
#include "geometry/geometry_out.h"
#include "geometry/geotypes.h"
#include "geometry/image2d.h"
#include "geometry/matrix.h"
#include "geometry/rotation.h"
#include "geometry/streamtype.h"
#include "geometry/tmatrix.h"
#include "geometry/vector.h"
