#include "qor/conv.h"

#include <cmath>

#include "kernel/saturate.hpp"

int32_t CONV_LIROUNDL(double x) { return qor::saturate<int32_t>(std::floor(x + 0.5)); }
double CONV_LFLOATI(int16_t x) { return x; }
double CONV_LFLOATLI(int32_t x) { return x; }
void CONV_LFROMR() {}

double MATH_LRABS(double x) { return std::fabs(x); }
double MATH_LRSIN(double x) { return std::sin(x); }
double MATH_LRCOS(double x) { return std::cos(x); }
double MATH_LRTAN(double x) { return std::tan(x); }
double MATH_LRASIN(double x) { return std::asin(x); }
double MATH_LRACOS(double x) { return std::acos(x); }
double MATH_LRATAN2(double y, double x) { return std::atan2(y, x); }
double MATH_SQRT64(double x) { return std::sqrt(x); }
