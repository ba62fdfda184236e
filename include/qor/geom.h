/* GEOM: geometry values. They belong to the geometry module; the kernel finds
 * its entries at start and forwards these names to it.
 *
 * Kinds. A point has x, y and a height z, which is GEOM_NO_HEIGHT when it has
 * none. A line is a chain of points; between two of them runs a straight
 * segment or a circular arc, given by an arc point: any point of the arc
 * between its ends. An arc whose ends are one place is a full circle, of which
 * the arc point is the opposite one. Three points on one straight line are a
 * straight segment, whatever the arc flag says. A rand is a closed ring of
 * lines, the end of each being the start of the next one. An area is made of
 * rands; what lies within an odd number of them is inside (the even-odd rule),
 * so an area may have holes, islands in them, and several separate parts, and
 * the direction of a rand means nothing. A handle of 0 is the empty geometry.
 *
 * Units and directions. Coordinates and lengths are in whatever unit the
 * caller uses; the plane is Euclidean (degrees are not converted). Angles are
 * radians. An "angle" counts counter-clockwise from the positive x axis, in
 * (-pi, pi]; an "azimuth" clockwise from the positive y axis (north), in
 * [0, 2 pi). A sweep is the signed angle that an arc turns through, positive
 * counter-clockwise. Left and right are meant in the direction of a line. A
 * position on a line is the plane length from its start.
 *
 * Heights. The families C2 and GEOM2 look at x and y. A point that they place
 * on a line gets the height between those of the ends of its segment, in the
 * ratio of the lengths, or none when an end has none.
 *
 * Attributes (GATTR). A geometry that is a changed copy or a piece of another
 * one takes over the attribute of that one, and its points, where they are
 * still the same points, take over theirs. An overlay takes the attribute of
 * its first area. Whatever else is new has the attribute 0.
 *
 * Results. An operation that can be without a result answers 1 when there is
 * one; when it answers 0, what the out arguments lead to is as it was. It is
 * silent where nothing is wrong (the empty geometry, a line too short, nothing
 * that meets) and shows an error message where something is (a coordinate that
 * is not a number where that matters). A geometry of another kind than the
 * operation is for, if not empty, is misuse.
 *
 * Ownership. A geometry variable that receives a geometry owns it; what it held
 * is released when the new one is complete, so a variable may be both source
 * and result. Parts that are handed in are copied. What is read from a
 * geometry is borrowed, unless the operation says otherwise. A borrowed part
 * may be changed in place, never removed.
 *
 * Tolerance. Nothing is snapped: two points are one place when their x and y
 * are equal, unless an operation has a tolerance of its own. Where an arc must
 * be replaced by chords, they stay within a stroke tolerance of it (see
 * GEOM2_STROKE). Overlay, relations to an area and parallel boundaries are
 * computed by the library GEOS on such chords; all else keeps arcs exact.
 */
#ifndef QOR_GEOM_H
#define QOR_GEOM_H

#include "qor/types.h"

QOR_BEGIN_C

#define GEOM_NO_HEIGHT (-99999999.999999)

enum { GEOM_POINT = 0, GEOM_LINE = 1, GEOM_RAND = 2, GEOM_AREA = 3 };

/* A plane vector or position. */
typedef struct GEOM_XY {
    double x, y;
} GEOM_XY;

/* A segment of a line: straight when arc is 0, else an arc over (ax, ay). */
typedef struct GEOM_SEGMENT {
    double x1, y1;
    double arc;
    double ax, ay;
    double x2, y2;
} GEOM_SEGMENT;

/* The circle of an arc. start is the angle from the centre to the first end. */
typedef struct GEOM_CIRCLE {
    double x, y;
    double radius;
    double start;
    double sweep;
} GEOM_CIRCLE;

/* Receives the geometries of an operation that has several, one by one. The
 * taker may keep a geometry by moving it out of the variable (setting that to
 * 0); what it leaves there is released when it returns. */
typedef void (*GEOM_TAKE)(void *context, QOR_GEOMETRY *geometry);

/* --- values ------------------------------------------------------------------ */

QOR_API void GEOM_INITIALIZE(QOR_GEOMETRY *geometry);
QOR_API void GEOM_REMOVE(QOR_GEOMETRY *geometry);
/* A deep copy. The destination is overwritten, not released. */
QOR_API void GEOM_COPY(QOR_GEOMETRY source, QOR_GEOMETRY *destination);
QOR_API void GEOM_DISPLAY(QOR_GEOMETRY geometry);
QOR_API int32_t GEOM_ISEMPTY(QOR_GEOMETRY geometry);
/* The kind; -1 for the empty geometry. */
QOR_API void GEOM_READ_TYPE(QOR_GEOMETRY geometry, int32_t *kind);
QOR_API void GEOM_READ_POINT(QOR_GEOMETRY point, double *x, double *y, double *z);
/* The attribute; 0 for the empty geometry, which can not be given one. */
QOR_API int32_t GEOM_GET_GATTR(QOR_GEOMETRY geometry);
QOR_API void GEOM_SET_GATTR(QOR_GEOMETRY geometry, int32_t attribute);

/* --- reading ----------------------------------------------------------------- */

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
/* The first and the last part: a point of a line, a line of a rand, a rand of
 * an area. A point has no parts. */
QOR_API int32_t GEOM_READ_FIRST_SUBOBJ(QOR_GEOMETRY geometry, QOR_GEOMETRY *part);
QOR_API int32_t GEOM_READ_LAST_SUBOBJ(QOR_GEOMETRY geometry, QOR_GEOMETRY *part);

/* --- construction -------------------------------------------------------------- */

QOR_API void GEOM_CREATE_POINT(QOR_GEOMETRY *geometry, double x, double y, double z);
/* A line of one segment, which APPEND continues. */
QOR_API void GEOM_CREATE_LINE(QOR_GEOMETRY *geometry, QOR_GEOMETRY first, double arc, double x, double y, double z,
                              QOR_GEOMETRY second);
QOR_API void GEOM_APPEND_LINE_POINT(QOR_GEOMETRY *geometry, double arc, double x, double y, double z,
                                    QOR_GEOMETRY point);
/* No test whether the lines of a rand meet: see GEOM_CHECK_GEOMETRY. */
QOR_API void GEOM_CREATE_RAND(QOR_GEOMETRY *geometry, QOR_GEOMETRY line);
QOR_API void GEOM_APPEND_RAND_LINE(QOR_GEOMETRY *geometry, QOR_GEOMETRY line);
QOR_API void GEOM_CREATE_AREA(QOR_GEOMETRY *geometry, QOR_GEOMETRY rand);
QOR_API void GEOM_APPEND_AREA_RAND(QOR_GEOMETRY *geometry, QOR_GEOMETRY rand);

/* Adds a line to a rand that is being put together, at the end or the start of
 * its chain, reversed where it fits only so; an empty variable gets a new rand.
 * 1 when the rand is closed now, 0 when it is still open, -1 when the line
 * meets neither end or the rand was closed before, and nothing changed. */
QOR_API int32_t GEOM_BUILD_RAND_LINE(QOR_GEOMETRY *rand, QOR_GEOMETRY line);
/* Puts an area together from lines in any order and direction, which meet at
 * their end points only. Answers 0 when they do not make closed rands. */
QOR_API int32_t GEOM_BUILD_AREA(const QOR_GEOMETRY *lines, int32_t count, QOR_GEOMETRY *area);
/* Appends to a geometry another of the same kind: the points of a line that
 * starts where the first one ends (its first point is not repeated), the lines
 * of a rand, the rands of an area. An empty variable gets a copy. Answers 0
 * when the lines do not meet. */
QOR_API int32_t GEOM_JOIN(QOR_GEOMETRY *geometry, QOR_GEOMETRY other);
/* Joins lines that meet within the tolerance at their ends, reversed where
 * needed, into lines as long as possible; three lines or more that meet in one
 * place are not joined there. A joined line has the attribute of its first
 * one. count may be nil. */
QOR_API void GEOM_JOIN_LINES(const QOR_GEOMETRY *lines, int32_t line_count, double tolerance, GEOM_TAKE take,
                             void *context, int32_t *count);

/* --- queries ------------------------------------------------------------------- */

/* IS2D: no point has a height. IS3D: there are points, and all have one. */
QOR_API int32_t GEOM_IS2D(QOR_GEOMETRY geometry);
QOR_API int32_t GEOM_IS3D(QOR_GEOMETRY geometry);
/* The length of a line or of all rands; a point and the empty geometry have 0.
 * With in_space 1, segments with a height at both ends count their slope. */
QOR_API double GEOM_GET_LENGTH(QOR_GEOMETRY geometry, int32_t in_space);
/* The content of an area or a rand, never negative; 0 for all else. Exact for
 * arcs. The rands of an area must not cross each other. */
QOR_API double GEOM_GET_AREA(QOR_GEOMETRY geometry);
/* A line's part of the content of a rand: half the integral of x dy - y dx.
 * The sum over the lines of a rand is its content, positive when it runs
 * counter-clockwise. */
QOR_API double GEOM_GET_LINE_AREA(QOR_GEOMETRY line);
/* The content between an arc and its chord, positive for an arc that runs
 * counter-clockwise; 0 when the three points are on one straight line. */
QOR_API double GEOM_GET_ARC_AREA(double x1, double y1, double ax, double ay, double x2, double y2);
/* Whether a position lies in an area or on its border. Asking the same area
 * again is faster: it keeps an index of its segments until it changes. */
QOR_API int32_t GEOM_IS_INSIDEAREA(GEOM_XY position, QOR_GEOMETRY area);
/* A position well inside an area. Answers 0 for an area without content. */
QOR_API int32_t GEOM_GET_INSIDEAREA(QOR_GEOMETRY area, double *x, double *y);

/* --- changes in place ------------------------------------------------------------ */

/* The empty geometry is left alone by all. A point without a height stays
 * without one, except for SETZ and SETZ2. */
QOR_API void GEOM_MOVE(QOR_GEOMETRY geometry, double dx, double dy, double dz);
/* Scales about (x, y, z), heights too. */
QOR_API void GEOM_SCALE(QOR_GEOMETRY geometry, double factor, double x, double y, double z);
/* x' = a x + b y + c, y' = d x + e y + f. An arc stays an arc when that keeps
 * circles round; if not, it becomes chords within the stroke tolerance. */
QOR_API void GEOM_TRANSFORM_2D(QOR_GEOMETRY geometry, double a, double b, double c, double d, double e, double f);
/* Rounds x and y to multiples of a grid width, heights to multiples of another;
 * a width of 0 leaves them as they are. */
QOR_API void GEOM_ROUND(QOR_GEOMETRY geometry, double width, double height_width);
/* Gives every point the height; GEOM_NO_HEIGHT takes all heights away. */
QOR_API void GEOM_SETZ(QOR_GEOMETRY geometry, double z);
/* Gives a line heights that go evenly, along its plane length, from z1 to z2. */
QOR_API void GEOM_SETZ2(QOR_GEOMETRY line, double z1, double z2);
QOR_API void GEOM_REVERSE_LINE(QOR_GEOMETRY line);

/* --- C2: plane vectors ------------------------------------------------------------- */

QOR_API GEOM_XY C2_VEC(double x, double y);
QOR_API GEOM_XY C2_ADDV(GEOM_XY a, GEOM_XY b);
/* The azimuth of a vector; 0 for the vector without length. */
QOR_API double C2_AZI(GEOM_XY vector);
QOR_API double C2_GETAZI(GEOM_XY from, GEOM_XY to);
QOR_API GEOM_XY C2_AZITOVEC(double azimuth, double length);

/* --- C2R: arcs and distances ---------------------------------------------------------- */

QOR_API double C2R_EDIST(GEOM_XY a, GEOM_XY b);
/* The point half way on the arc that runs counter-clockwise from the first end
 * to the second about a centre. The ends are one place: the opposite point.
 * Answers 0 when the centre is an end. */
QOR_API int32_t C2R_CALC_ARCPOINT(double x1, double y1, double x2, double y2, double x, double y, double *ax,
                                  double *ay);
/* The centre and the sweep of the arc of at most half a circle between two ends
 * with a radius: on the left of the chord, and so counter-clockwise, for a
 * positive radius, on the right for a negative one. Answers 0 when the ends are
 * one place or further apart than the diameter. */
QOR_API int32_t C2R_CALC_CENTER(double x1, double y1, double x2, double y2, double radius, double *x, double *y,
                                double *sweep);
/* Centre, radius and sweep of the arc over three points. Answers 0 when they
 * are on one straight line. */
QOR_API int32_t C2R_CALC_CENTER2(double x1, double y1, double ax, double ay, double x2, double y2, double *x, double *y,
                                 double *radius, double *sweep);

/* --- GEOM2: arcs, segments, boxes ------------------------------------------------------- */

/* As C2R_CALC_CENTER2. */
QOR_API int32_t GEOM2_GET_ARC_RADIUS(double x1, double y1, double ax, double ay, double x2, double y2, double *radius);
QOR_API int32_t GEOM2_GET_ARC_CENTER(double x1, double y1, double ax, double ay, double x2, double y2, double *x,
                                     double *y);
/* The common points of two segments: count is 0, 1 or 2. For a stretch in
 * common they are its ends, in the order of the first segment. Two equal full
 * circles have none. */
QOR_API void GEOM2_LINESEGMENT_INTERSECTION(const GEOM_SEGMENT *a, const GEOM_SEGMENT *b, GEOM_XY *first,
                                            GEOM_XY *second, int32_t *count);
/* Whether two boxes have a point in common. */
QOR_API int32_t GEOM2_BOX_OVERLAP(double xmin1, double ymin1, double xmax1, double ymax1, double xmin2, double ymin2,
                                  double xmax2, double ymax2);
QOR_API void GEOM2_CALC_BOUNDINGBOX_LINE(double x1, double y1, double x2, double y2, double *xmin, double *ymin,
                                         double *xmax, double *ymax);
QOR_API void GEOM2_CALC_BOUNDINGBOX_ARC(double x1, double y1, double ax, double ay, double x2, double y2, double *xmin,
                                        double *ymin, double *xmax, double *ymax);
QOR_API int32_t GEOM2_CALC_BOUNDING_BOX(QOR_GEOMETRY geometry, double *xmin, double *ymin, double *xmax, double *ymax);
/* With the lowest and the highest height; both are GEOM_NO_HEIGHT when no point
 * has one. */
QOR_API int32_t GEOM2_CALC_BOUNDING_BOX3D(QOR_GEOMETRY geometry, double *xmin, double *ymin, double *zmin, double *xmax,
                                          double *ymax, double *zmax);
QOR_API int32_t GEOM2_HAS_ARCS(QOR_GEOMETRY geometry);

/* --- GEOM2: lines ------------------------------------------------------------------------- */

/* The point of a line that is nearest to (px, py). */
QOR_API int32_t GEOM2_PROJECT_POINT(QOR_GEOMETRY line, double px, double py, double *x, double *y, double *z);
/* Also its position on the line, and the distance to it: positive when (px, py)
 * lies on the left. */
QOR_API int32_t GEOM2_PROJECT_POINT2(QOR_GEOMETRY line, double px, double py, double *x, double *y, double *z,
                                     double *position, double *distance);
/* The nearest foot of a perpendicular from (px, py): points of the line in
 * which its direction is at right angles to the way there. Answers 0 when there
 * is none, as beyond the ends or outside of a corner. */
QOR_API int32_t GEOM2_PROJECT_POINT_PERPENDICULAR(QOR_GEOMETRY line, double px, double py, double *x, double *y,
                                                  double *z);
QOR_API int32_t GEOM2_PROJECT_POINT_PERPENDICULAR2(QOR_GEOMETRY line, double px, double py, double *x, double *y,
                                                   double *z, double *position, double *distance);
/* Projects every point of a geometry, arc points included, to a line: the
 * smallest and the greatest position, and the greatest distance (not signed). */
QOR_API int32_t GEOM2_PROJECT_GEOM(QOR_GEOMETRY line, QOR_GEOMETRY geometry, double *from, double *to,
                                   double *distance);
/* The point at a position. Answers 0 when the position is below 0 or beyond the
 * length. */
QOR_API int32_t GEOM2_CALC_POINT_AT(QOR_GEOMETRY line, double position, double *x, double *y, double *z);
/* The point at a distance from the line, left when positive, beside the point at
 * the position. */
QOR_API int32_t GEOM2_CALC_POINT_AT2(QOR_GEOMETRY line, double position, double distance, double *x, double *y,
                                     double *z);
/* The part of a line between two positions, which are brought into the line's
 * range; with from > to it runs backwards. Answers 0 when it has no length. */
QOR_API int32_t GEOM2_EXTRACT_LINE_SEGMENT(QOR_GEOMETRY line, double from, double to, QOR_GEOMETRY *part);
/* The dashes of a line: the pattern holds the lengths of a dash, a gap, a dash
 * and so on and is repeated; the line starts at the position phase within it.
 * Answers the number of dashes, 0 when the pattern has an uneven count, a
 * negative or infinite length, or no length in all, -1 when there would be more
 * than 1,000,000. */
QOR_API int32_t GEOM2_EXTRACT_LINE_PATTERN_SEGMENTS(QOR_GEOMETRY line, const double *pattern, int32_t pattern_count,
                                                    double phase, GEOM_TAKE take, void *context);
/* Points at the position first and then every spacing. Answers their number, 0
 * when the spacing is not above 0, -1 as before. */
QOR_API int32_t GEOM2_EXTRACT_LINE_PATTERN_POINTS(QOR_GEOMETRY line, double first, double spacing, GEOM_TAKE take,
                                                  void *context);
/* Copies of the first and the last point. */
QOR_API int32_t GEOM2_GET_LINE_START_END_POINT(QOR_GEOMETRY line, QOR_GEOMETRY *start, QOR_GEOMETRY *end);
/* The angles of the line's direction at its start and at its end. Answers 0 for
 * a line without length. */
QOR_API int32_t GEOM2_GET_LINE_START_END_TANGENT_ANGLE(QOR_GEOMETRY line, double *start, double *end);
/* The common points of two lines, in the order of the first; of a stretch in
 * common its ends. count may be nil. */
QOR_API void GEOM2_LINE_INTERSECTION(QOR_GEOMETRY line, QOR_GEOMETRY other, GEOM_TAKE take, void *context,
                                     int32_t *count);
/* How the outside of a corner of a parallel copy is filled: with an arc, by
 * extending both sides to where they meet, or with a straight segment. */
enum { GEOM_CORNER_ROUND = 0, GEOM_CORNER_MITRE = 1, GEOM_CORNER_BEVEL = 2 };
/* The ends of an area made from a line: cut off at the end points, a half
 * circle, or lengthened by the wider of the two widths. */
enum { GEOM_END_FLAT = 0, GEOM_END_ROUND = 1, GEOM_END_SQUARE = 2 };
/* A copy of a line at a distance, left when positive. Straight segments stay
 * straight, arcs become arcs about the same centre; an arc with a radius that
 * is not longer than the distance on its inner side goes. Inside of a corner
 * the copies are cut where they meet. A mitre longer than limit times the
 * distance (measured from the corner) becomes a bevel; limit 0 stands for 5.
 * Answers 0 when nothing is left. */
QOR_API int32_t GEOM2_COPY_LINE_PARALLEL(QOR_GEOMETRY line, double distance, int32_t corner, double limit,
                                         QOR_GEOMETRY *copy);
/* The area beside a line, as wide as told on its left and right (neither below
 * 0, not both 0), arcs kept. Where it would overlap itself, as beside a line
 * that crosses itself, the parts become one, and arcs chords. Answers 0 when
 * there is none. */
QOR_API int32_t GEOM2_CREATE_AREA_FROM_LINE(QOR_GEOMETRY line, double left, int32_t corner, double right, int32_t end,
                                            QOR_GEOMETRY *area);
/* A copy of any geometry in which chords stand for arcs. No chord is further
 * from its arc than the tolerance; 0 stands for what GEOM2_RESOLUTION_SET set.
 * The ends of arcs stay. An arc gets at least 2 and at most 10,000 chords. */
QOR_API int32_t GEOM2_STROKE(QOR_GEOMETRY geometry, QOR_GEOMETRY *stroked, double tolerance);

/* --- GEOM2: areas -------------------------------------------------------------------------- */

/* Whether a rand, or the first rand of an area, runs clockwise. */
QOR_API int32_t GEOM2_AREA_CLOCKWISE(QOR_GEOMETRY geometry);
/* Whether a rand of an area lies in an odd number of the others. */
QOR_API int32_t GEOM2_HAS_HOLES(QOR_GEOMETRY area);
/* Whether an area is valid: rands of content, closed, that neither cross nor
 * run along themselves or each other. If not, the reason, and where (nil and
 * the empty geometry are fine: an empty area is valid). */
QOR_API int32_t GEOM2_CHECK_AREA(QOR_GEOMETRY area, STRNG *reason, double *x, double *y);
/* Makes an area valid, if it is not, by the even-odd rule; what has no content
 * goes, and the variable may be empty after that. An area that is valid keeps
 * its arcs. CLEAN_AREA2 first takes all points to a grid. Answers 0 when the
 * area could not be cleaned. */
QOR_API int32_t GEOM2_CLEAN_AREA(QOR_GEOMETRY *area);
QOR_API int32_t GEOM2_CLEAN_AREA2(QOR_GEOMETRY *area, double width);
/* Overlay; the result may be empty. Areas that are not valid are cleaned first.
 * Touching alone (in points or lines) gives no area. Answers 0 when there is no
 * result. */
QOR_API int32_t GEOM2_AREA_INTERSECTION(QOR_GEOMETRY a, QOR_GEOMETRY b, QOR_GEOMETRY *result);
QOR_API int32_t GEOM2_AREA_UNION(QOR_GEOMETRY a, QOR_GEOMETRY b, QOR_GEOMETRY *result);
QOR_API int32_t GEOM2_AREA_DIFFERENCE(QOR_GEOMETRY a, QOR_GEOMETRY b, QOR_GEOMETRY *result);
/* Whether a geometry of any kind lies in an area (a fence) without touching
 * its border, and whether it lies in the area or on its border. */
QOR_API int32_t GEOM2_IS_INSIDE_FENCE(QOR_GEOMETRY geometry, QOR_GEOMETRY area);
QOR_API int32_t GEOM2_IS_INSIDE_FENCE_AND_BORDER(QOR_GEOMETRY geometry, QOR_GEOMETRY area);
enum { GEOM_FENCE_OUTSIDE = 0, GEOM_FENCE_TOUCHES = 1, GEOM_FENCE_CROSSES = 2, GEOM_FENCE_INSIDE = 3 };
/* How it lies: without a common point, with points of the border only, partly
 * inside and partly outside, or in the area (where it may touch the border). */
QOR_API int32_t GEOM2_IS_INSIDE_FENCE_EXT(QOR_GEOMETRY geometry, QOR_GEOMETRY area, int32_t *relation);
/* Lines at an angle over an area, a spacing apart (above 0), clipped by it. One
 * of the endless lines goes through the origin, so that the hatchings of
 * neighbours continue each other. Answers 0 when there would be more than
 * 1,000,000; count may be nil. */
QOR_API int32_t GEOM2_HATCH_AREA(QOR_GEOMETRY area, GEOM_TAKE take, void *context, double angle, double spacing,
                                 int32_t *count);
QOR_API int32_t GEOM2_CROSSHATCH_AREA(QOR_GEOMETRY area, GEOM_TAKE take, void *context, double angle1, double spacing1,
                                      double angle2, double spacing2, int32_t *count);
/* The points of a lattice that lie in an area or on its border: spacings along
 * and across, the angle of its rows, and how far every other row is shifted.
 * The lattice goes through the origin, or with at_box 1 through the lower left
 * corner of the area's box. Answers as hatching does, and 0 also when more than
 * 10,000,000 points of the lattice lie in the box. */
QOR_API int32_t GEOM2_PATTERN_AREA(QOR_GEOMETRY area, GEOM_TAKE take, void *context, double spacing_along,
                                   double spacing_across, double angle, double shift, int32_t at_box, int32_t *count);

/* --- GEOM3: cleaning ------------------------------------------------------------------------ */

/* What cleaning does; all by default. */
enum {
    GEOM_CLEAN_POINTS = 1, /* points that repeat the one before them go */
    GEOM_CLEAN_ARCS = 2,   /* arcs without curvature become straight */
    GEOM_CLEAN_RINGS = 4,  /* rands get closed; gaps between their lines too */
    GEOM_CLEAN_AREAS = 8   /* areas become valid, see GEOM2_CLEAN_AREA */
};
/* Cleans a geometry. status becomes the sum of what had to be done, 0 when it
 * was clean, or -1 when it can not be cleaned (a coordinate that is not a
 * number) and is left as it was. A line that has no length, and what is made of
 * such lines only, goes: the variable is empty then. Answers 1 unless the
 * status is -1. */
QOR_API int32_t GEOM3_GEOM_CLEAN(QOR_GEOMETRY *geometry, int32_t *status);
/* How near two points are to be one for cleaning; 0, the default: equal. The
 * result is the former value. A negative or non-finite one is not taken. */
QOR_API double GEOM3_GEOM_CLEAN_RESOLUTION_SET(double resolution);
/* Chooses what is done, a sum of the values above. The result is the former
 * choice. */
QOR_API int32_t GEOM3_GEOM_CLEAN_SYSTEM_SET(int32_t system);
/* Describes a status in words. The string is the caller's. */
QOR_API void GEOM3_GEOM_CLEAN_STATUS_DESCR_GET(int32_t status, STRNG *description);

/* --- entries of the module that the kernel does not pass on --------------------------------- */

/* Start and stop. The kernel calls them once each. */
QOR_API void GEOM_INIT(const char *kernel_library);
QOR_API void GEOM_TERMINATE(void);
/* Shows each fault of a geometry as an error message. */
QOR_API void GEOM_CHECK_GEOMETRY(QOR_GEOMETRY geometry);

/* As GEOM_READ_LINE_POINT, with the coordinates of the point itself. */
QOR_API void GEOM_READ_LINE_POINT2(QOR_GEOMETRY *word, double *arc, double *ax, double *ay, double *az, double *x,
                                   double *y, double *z, int32_t *found);
/* Circle, start and sweep of an arc over three points, as C2R_CALC_CENTER2. */
QOR_API int32_t GEOM2_ARC_CIRCLE_PREPARE(double x1, double y1, double ax, double ay, double x2, double y2,
                                         GEOM_CIRCLE *circle);
/* The segments of a line as cubic Bezier curves: an arc gets one for each
 * quarter of a circle begun, whose error is below 0.03 % of the radius (Goldapp,
 * "Approximation of circular arcs by cubic polynomials", 1991). control holds
 * the four control points of one curve. */
QOR_API int32_t GEOM2_LINEARCS_TO_BEZIER(QOR_GEOMETRY line, void (*take)(void *context, const GEOM_XY control[4]),
                                         void *context);
/* Copies of all lines of an area. count may be nil. */
QOR_API void GEOM2_GET_AREA_LINE_LIST(QOR_GEOMETRY area, GEOM_TAKE take, void *context, int32_t *count);
/* A circle as an area of two arcs, counter-clockwise. Answers 0 when the radius
 * is not above 0. */
QOR_API int32_t GEOM2_CREATE_CIRCLE(QOR_GEOMETRY *area, double x, double y, double radius);
/* The start of the first line and the end of the last one of an area's first
 * rand, or of a rand: one place when it is closed. */
QOR_API int32_t GEOM2_SURFACE_START_END_POINT(QOR_GEOMETRY surface, double *x1, double *y1, double *z1, double *x2,
                                              double *y2, double *z2);
/* An area grown by a distance on all sides, or shrunk by a negative one; corner
 * and limit as in GEOM2_COPY_LINE_PARALLEL. A round corner gets 8 to 500 chords
 * for a right angle, whatever the stroke tolerance. The result may be empty. */
QOR_API int32_t GEOM2_COPY_AREA_BOUNDARY_PARALLEL(QOR_GEOMETRY area, double distance, int32_t corner, double limit,
                                                  QOR_GEOMETRY *copy);
/* Lengthens a line in place at its start and its end by straight segments in
 * the direction that it has there, or by moving the end of a straight segment
 * outwards; negative lengths shorten it. Answers 0 when it has no length or
 * would have none. */
QOR_API int32_t GEOM2_EXTEND_LINE(QOR_GEOMETRY line, double at_start, double at_end);
/* The stroke tolerance of operations that have none of their own. 0, the
 * default: a ten-thousandth of an arc's radius, 223 chords for a circle. The
 * result is the former value. A negative or non-finite one is not taken. */
QOR_API double GEOM2_RESOLUTION_SET(double tolerance);
/* The pieces of a geometry of any kind in an area (with its border), and those
 * out of it. A piece of a rand is a line. The pieces may be none. Answers 0 when
 * there is nothing to cut or it can not be done; count may be nil. */
QOR_API int32_t GEOM2_FENCE_CUT(QOR_GEOMETRY geometry, QOR_GEOMETRY area, GEOM_TAKE take, void *context,
                                int32_t *count);
QOR_API int32_t GEOM2_FENCE_CUT_OUTSIDE(QOR_GEOMETRY geometry, QOR_GEOMETRY area, GEOM_TAKE take, void *context,
                                        int32_t *count);

QOR_END_C

#endif
