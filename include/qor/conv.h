/* CONV and MATH: number conversions and functions for plug-ins. */
#ifndef QOR_CONV_H
#define QOR_CONV_H

#include "qor/types.h"

QOR_BEGIN_C

/* floor(x + 0.5); the nearest int when it does not fit, 0 for NaN. */
QOR_API int32_t CONV_LIROUNDL(double x);
QOR_API double CONV_LFLOATI(int16_t x);
QOR_API double CONV_LFLOATLI(int32_t x);
QOR_API void CONV_LFROMR(void); /* does nothing */

/* The platform's functions; angles in radians. */
QOR_API double MATH_LRABS(double x);
QOR_API double MATH_LRSIN(double x);
QOR_API double MATH_LRCOS(double x);
QOR_API double MATH_LRTAN(double x);
QOR_API double MATH_LRASIN(double x);
QOR_API double MATH_LRACOS(double x);
QOR_API double MATH_LRATAN2(double y, double x);
QOR_API double MATH_SQRT64(double x);

QOR_END_C

#endif
