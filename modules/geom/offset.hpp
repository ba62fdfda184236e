// Runs of segments at a distance from a line.
#pragma once

#include "line.hpp"

namespace geom {

// How often the distance a mitre may be long, if nothing else is told.
constexpr double DEFAULT_LIMIT = 5;

struct Chain {
    std::vector<Segment> segments;
    bool is_closed = false;
    bool has_gap = false; // that a straight segment bridges
    double length() const;
};

// What runs at a distance beside a path, left when positive: first what goes along with it, of a
// closed one the longest ring; then the other rings. May be empty. corner and limit as in
// GEOM2_COPY_LINE_PARALLEL.
std::vector<Chain> offset(const Path &path, double distance, int32_t corner, double limit);

// Makes each segment begin where the one before it ends: where they are further apart than
// the tolerance, a straight segment goes between.
void connect(Chain *chain, double tolerance);

} // namespace geom
