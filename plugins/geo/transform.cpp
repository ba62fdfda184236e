// Changed copies: moving, turning, rounding, heights, and the way from one EPSG code to
// another, which PROJ knows.
#include <proj.h>

#include <charconv>
#include <cmath>
#include <map>
#include <memory>

#include "geometries.hpp"

namespace geo {

namespace {

// The copy is changed by change(const Arguments &, copy) and pushed.
template <typename Change> void run_change(const char *method, const char *arguments, Change change) {
    run(method, arguments, "g", [&change](const Arguments &values) {
        Geometry copy = copy_of(values.geometry(0));
        change(values, copy.get());
        push(std::move(copy));
    });
}

void move() {
    run_change("MOVE", "grr", [](const Arguments &values, QOR_GEOMETRY copy) {
        check_coordinates({values.real(1), values.real(2)});
        GEOM_MOVE(copy, values.real(1), values.real(2), 0);
    });
}

// A centre without a height leaves the height 0 where it is.
void scale() {
    run_change("SCALE", "grp", [](const Arguments &values, QOR_GEOMETRY copy) {
        const Position centre = position_of(values.geometry(2));
        check_coordinates({values.real(1)});
        GEOM_SCALE(copy, values.real(1), centre.x, centre.y, centre.z == GEOM_NO_HEIGHT ? 0 : centre.z);
    });
}

// About the origin and back again: so a point in the centre stays exactly there, and large
// coordinates do not cost the small differences between them.
void rotate() {
    run_change("ROTATE", "grp", [](const Arguments &values, QOR_GEOMETRY copy) {
        check_coordinates({values.real(1)});
        const double cosine = std::cos(values.real(1)), sine = std::sin(values.real(1));
        const Position centre = position_of(values.geometry(2));
        GEOM_MOVE(copy, -centre.x, -centre.y, 0);
        GEOM_TRANSFORM_2D(copy, cosine, -sine, 0, sine, cosine, 0);
        GEOM_MOVE(copy, centre.x, centre.y, 0);
    });
}

// Heights often have another unit than x and y, so they are left alone.
void round() {
    run_change("ROUND", "gr", [](const Arguments &values, QOR_GEOMETRY copy) {
        const double width = values.real(1);
        if (!(width >= 0 && std::isfinite(width))) throw No_result{"a grid width is 0 or more"};
        GEOM_ROUND(copy, width, 0);
    });
}

void set_height() {
    run_change("SET_HEIGHT", "gr", [](const Arguments &values, QOR_GEOMETRY copy) {
        check_coordinates({values.real(1)});
        GEOM_SETZ(copy, values.real(1));
    });
}

void drop_height() {
    run_change("DROP_HEIGHT", "g", [](const Arguments &, QOR_GEOMETRY copy) { GEOM_SETZ(copy, GEOM_NO_HEIGHT); });
}

// --- EPSG codes ----------------------------------------------------------------------------

struct Deleter {
    void operator()(PJ *object) const { proj_destroy(object); }
    void operator()(PJ_CONTEXT *context) const { proj_context_destroy(context); }
};
using Proj_object = std::unique_ptr<PJ, Deleter>;

// What PROJ needs: its context, and the ways between codes that were asked for. To find one
// takes PROJ many thousand times as long as to go it.
class Ways {
  public:
    Ways() : context_(proj_context_create()) {
        proj_context_set_enable_network(context_.get(), 0);
        proj_log_level(context_.get(), PJ_LOG_NONE);
    }

    // Borrowed until the next call.
    PJ *find(int32_t from, int32_t to) {
        const auto known = ways_.find({from, to});
        if (known != ways_.end()) return known->second.get();
        Proj_object way = create(from, to);
        if (ways_.size() == LIMIT) ways_.clear();
        return (ways_[{from, to}] = std::move(way)).get();
    }

    std::string reason(int error) const {
        return error != 0 ? std::string(": ") + proj_context_errno_string(context_.get(), error) : "";
    }

  private:
    static constexpr size_t LIMIT = 64;

    // Document order: x is the longitude or the easting, whatever the code's own order is.
    Proj_object create(int32_t from, int32_t to) {
        const Proj_object source = system_of(from), target = system_of(to);
        const Proj_object way(
            proj_create_crs_to_crs_from_pj(context_.get(), source.get(), target.get(), nullptr, nullptr));
        Proj_object normal(way ? proj_normalize_for_visualization(context_.get(), way.get()) : nullptr);
        if (!normal) {
            throw No_result{"no way from EPSG code " + std::to_string(from) + " to " + std::to_string(to) +
                            reason(proj_context_errno(context_.get()))};
        }
        return normal;
    }

    Proj_object system_of(int32_t code) {
        if (!proj_context_get_database_path(context_.get())) throw No_result{"PROJ does not find its database"};
        Proj_object system(proj_create(context_.get(), ("EPSG:" + std::to_string(code)).c_str()));
        if (!system) throw No_result{"EPSG code " + std::to_string(code) + " is not known"};
        return system;
    }

    std::unique_ptr<PJ_CONTEXT, Deleter> context_; // made first, gone last
    std::map<std::pair<int32_t, int32_t>, Proj_object> ways_;
};
std::unique_ptr<Ways> ways;

std::string number(double value) {
    char digits[32];
    return {digits, std::to_chars(digits, digits + sizeof digits, value).ptr};
}

// Where PROJ has no answer it leaves infinity.
Position brought(PJ *way, const Position &from) {
    const double z = from.z == GEOM_NO_HEIGHT ? 0 : from.z;
    proj_errno_reset(way);
    const PJ_COORD to = proj_trans(way, PJ_FWD, proj_coord(from.x, from.y, z, HUGE_VAL));
    if (!std::isfinite(to.xyz.x) || !std::isfinite(to.xyz.y) || !std::isfinite(to.xyz.z)) {
        throw No_result{"the point " + number(from.x) + "/" + number(from.y) + " can not be transformed" +
                        ways->reason(proj_errno(way))};
    }
    return {to.xyz.x, to.xyz.y, from.z == GEOM_NO_HEIGHT ? GEOM_NO_HEIGHT : to.xyz.z};
}

// A matrix of zeros leaves nothing of the old coordinates but what is added.
void place(QOR_GEOMETRY point, const Position &position) {
    GEOM_TRANSFORM_2D(point, 0, 0, position.x, 0, 0, position.y);
    GEOM_SETZ(point, position.z);
}

// What was an arc is none in another projection, but points of it stay points of it: so arcs
// become chords first.
void transform() {
    run("TRANSFORM", "gii", "g", [](const Arguments &values) {
        if (!ways) ways = std::make_unique<Ways>();
        PJ *way = ways->find(values.integer(1), values.integer(2));
        const Stroked stroked(values.geometry(0));
        Geometry copy = copy_of(stroked.get());
        const auto bring = [way](QOR_GEOMETRY point) { place(point, brought(way, position_of(point))); };
        if (kind_of(copy.get()) == GEOM_POINT) bring(copy.get());
        for_each_line(copy.get(), [&bring](QOR_GEOMETRY line) { for_each_part(line, bring); });
        push(std::move(copy));
    });
}

constexpr Row METHODS[] = {
    {"GEO", "MOVE", move, 3, 1, "[g geometry,r dx,r dy][g moved]"},
    {"GEO", "SCALE", scale, 3, 1, "[g geometry,r factor,g center][g scaled]"},
    {"GEO", "ROTATE", rotate, 3, 1, "[g geometry,r angle,g center][g rotated]"},
    {"GEO", "ROUND", round, 2, 1, "[g geometry,r width][g rounded]"},
    {"GEO", "SET_HEIGHT", set_height, 2, 1, "[g geometry,r height][g raised]"},
    {"GEO", "DROP_HEIGHT", drop_height, 1, 1, "[g geometry][g flat]"},
    {"GEO", "TRANSFORM", transform, 3, 1, "[g geometry,i from,i to][g transformed]"},
};

} // namespace

std::span<const Row> transform_methods() { return METHODS; }

void finish_transform() { ways.reset(); }

} // namespace geo
