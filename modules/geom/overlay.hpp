// What the operations on areas share: what they refuse, and areas as GEOS wants them.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "geos.hpp"
#include "segment.hpp"

namespace geom {

// Shows why there is no result, and answers 0. The message may run script code: nothing
// borrowed is used after it.
int32_t refuse(const char *operation, const std::string &reason);

// The word if it is an area, 0 if it is the empty geometry; anything else aborts.
QOR_GEOMETRY area_in(QOR_GEOMETRY word, const char *operation);

// Why a coordinate can not be computed with, and the first such place; null when all can.
const char *coordinate_fault(const Geometry *geometry, GEOM_XY *place = nullptr);

// An area, or the empty geometry, as valid polygons. Null with the reason in take_error.
geos::Geometry valid_polygons(QOR_GEOMETRY area);

// The polygon of which the corners are given, without the first one at the end.
geos::Geometry polygon_of(const std::vector<Point> &corners);

// Puts a valid area into the place of one that is not. Answers 0 when that fails, with an
// error that names the operation.
int32_t clean_area(QOR_GEOMETRY *area, const char *operation);

// What the points of a geometry are marked with, for a copy that went through GEOS.
class Point_attributes {
  public:
    explicit Point_attributes(QOR_GEOMETRY source);
    void give_to(QOR_GEOMETRY copy) const;

  private:
    struct Hash {
        size_t operator()(GEOM_XY place) const {
            const std::hash<double> hash;
            return hash(place.x) * 31 + hash(place.y);
        }
    };
    struct Same {
        bool operator()(GEOM_XY a, GEOM_XY b) const { return is_same(a, b); }
    };
    std::unordered_map<GEOM_XY, int32_t, Hash, Same> attributes_;
};

// Geometries gathered for a taker, who may run script code: what has not been taken goes.
class Gathered {
  public:
    Gathered() = default;
    Gathered(const Gathered &) = delete;
    Gathered &operator=(const Gathered &) = delete;
    ~Gathered();
    void add(QOR_GEOMETRY geometry) { words_.push_back(geometry); } // adopts
    const std::vector<QOR_GEOMETRY> &words() const { return words_; }
    QOR_GEOMETRY remove_front();
    // The count goes into the variable, unless that is nil.
    void deliver(GEOM_TAKE take, void *context, int32_t *count);

  private:
    std::vector<QOR_GEOMETRY> words_;
};

} // namespace geom
