/* GEOM: geometry values. They belong to the geometry module; the kernel finds
 * its entries at start and forwards these names to it.
 *
 * Kinds: 0 point, 1 line, 2 rand (a closed ring of lines), 3 area (rands). A
 * handle of 0 is the empty geometry. A point without a height has the z value
 * GEOM_NO_HEIGHT.
 */
#ifndef QOR_GEOM_H
#define QOR_GEOM_H

#include "qor/types.h"

QOR_BEGIN_C

#define GEOM_NO_HEIGHT (-99999999.999999)

enum { GEOM_POINT = 0, GEOM_LINE = 1, GEOM_RAND = 2, GEOM_AREA = 3 };

QOR_API void GEOM_INITIALIZE(QOR_GEOMETRY *geometry);
QOR_API void GEOM_REMOVE(QOR_GEOMETRY *geometry);
QOR_API void GEOM_COPY(QOR_GEOMETRY source, QOR_GEOMETRY *destination);
QOR_API void GEOM_DISPLAY(QOR_GEOMETRY geometry);
QOR_API int32_t GEOM_ISEMPTY(QOR_GEOMETRY geometry);
QOR_API void GEOM_READ_TYPE(QOR_GEOMETRY geometry, int32_t *kind);
QOR_API void GEOM_READ_POINT(QOR_GEOMETRY point, double *x, double *y, double *z);
QOR_API int32_t GEOM_GET_GATTR(QOR_GEOMETRY geometry);
QOR_API void GEOM_SET_GATTR(QOR_GEOMETRY geometry, int32_t attribute);

/* Reading a composite: prepare a copy of the handle word, then read until
 * found is 0. What is read is borrowed from the geometry. */
QOR_API void GEOM_RESET_READ(QOR_GEOMETRY *word);
QOR_API void GEOM_READ_AREA_RAND(QOR_GEOMETRY *word, QOR_GEOMETRY *rand, int32_t *found);
QOR_API void GEOM_READ_RAND_LINE(QOR_GEOMETRY *word, QOR_GEOMETRY *line, int32_t *found);
/* arc is non-zero when x, y, z hold an arc point lying before the point. */
QOR_API void GEOM_READ_LINE_POINT(QOR_GEOMETRY *word, double *arc, double *x, double *y, double *z, QOR_GEOMETRY *point,
                                  int32_t *found);
QOR_API void GEOM_FIRST_LAST_POINT(QOR_GEOMETRY line, double *x1, double *y1, double *z1, double *x2, double *y2,
                                   double *z2, int32_t *found);

/* Construction. The parts handed in are copied; what the variable held is
 * released by the create operations. */
QOR_API void GEOM_CREATE_POINT(QOR_GEOMETRY *geometry, double x, double y, double z);
QOR_API void GEOM_CREATE_LINE(QOR_GEOMETRY *geometry, QOR_GEOMETRY first, double arc, double x, double y, double z,
                              QOR_GEOMETRY second);
QOR_API void GEOM_APPEND_LINE_POINT(QOR_GEOMETRY *geometry, double arc, double x, double y, double z,
                                    QOR_GEOMETRY point);
QOR_API void GEOM_CREATE_RAND(QOR_GEOMETRY *geometry, QOR_GEOMETRY line);
QOR_API void GEOM_APPEND_RAND_LINE(QOR_GEOMETRY *geometry, QOR_GEOMETRY line);
QOR_API void GEOM_CREATE_AREA(QOR_GEOMETRY *geometry, QOR_GEOMETRY rand);
QOR_API void GEOM_APPEND_AREA_RAND(QOR_GEOMETRY *geometry, QOR_GEOMETRY rand);

QOR_END_C

#endif
