#include "kernel_environment.hpp"

#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "geometries.hpp"
#include "texts.hpp"

// Areas: overlay, fences, hatching, cleaning and checking.
namespace {

// Points with commas between them, with or without heights; an arc point stands in front
// of its point: "@1 1 2 0".
Geom line(const std::string &places) {
    Geom made, first;
    std::istringstream items(places);
    for (std::string item; std::getline(items, item, ',');) {
        // Streams read neither infinity nor what is no number.
        std::istringstream words(item.front() == '@' ? item.substr(1) : item);
        std::vector<double> v;
        for (std::string word; words >> word;) v.push_back(std::strtod(word.c_str(), nullptr));
        const size_t at = item.front() == '@' ? 2 : 0;
        Geom point(v[at], v[at + 1], v.size() > at + 2 ? v[at + 2] : FLAT);
        if (made.word) {
            GEOM_APPEND_LINE_POINT(&made.word, at, v[0], v[1], FLAT, point.word);
        } else if (first.word) {
            GEOM_CREATE_LINE(&made.word, first.word, at, v[0], v[1], FLAT, point.word);
        } else {
            first = std::move(point);
        }
    }
    return made;
}

Geom rand_of(const Geom &line) {
    Geom rand;
    GEOM_CREATE_RAND(&rand.word, line.word);
    return rand;
}

// Rands with semicolons between them.
Geom area(const std::string &rands) {
    Geom made;
    std::istringstream items(rands);
    for (std::string item; std::getline(items, item, ';');) {
        const Geom rand = rand_of(line(item));
        made.word ? GEOM_APPEND_AREA_RAND(&made.word, rand.word) : GEOM_CREATE_AREA(&made.word, rand.word);
    }
    return made;
}

// Numbers one after the other, with all their digits.
template <typename... Parts> std::string text_of(const Parts &...parts) {
    std::ostringstream out;
    out.precision(17);
    (out << ... << parts);
    return out.str();
}

std::string box(double x1, double y1, double x2, double y2) {
    return text_of(x1, ' ', y1, ',', x2, ' ', y1, ',', x2, ' ', y2, ',', x1, ' ', y2, ',', x1, ' ', y1);
}

std::string circle(double x, double y, double r) {
    return text_of(x - r, ' ', y, ",@", x, ' ', y - r, ' ', x + r, ' ', y, ",@", x, ' ', y + r, ' ', x - r, ' ', y);
}

// A ring that runs around a place once: corners at angles that rise, at any distance.
std::string star(std::mt19937 &random, double x, double y, int corners) {
    std::uniform_real_distribution<double> distance(1, 10);
    std::string places, first;
    for (int i = 0; i < corners; ++i) {
        const double angle = 2 * PI * i / corners, r = distance(random);
        const std::string corner = text_of(x + r * std::cos(angle), ' ', y + r * std::sin(angle));
        if (i == 0) first = corner;
        places += corner + ',';
    }
    return places + first;
}

double content(const Geom &geometry) { return GEOM_GET_AREA(geometry.word); }

using Overlay = int32_t(QOR_GEOMETRY, QOR_GEOMETRY, QOR_GEOMETRY *);
Geom combine(Overlay *operation, const Geom &a, const Geom &b) {
    Geom result(7, 7);
    EXPECT_EQ(operation(a.word, b.word, &result.word), 1);
    return result;
}

// The x and y of each point of a line, and of its arc points in brackets.
std::string read_line(QOR_GEOMETRY word) {
    std::ostringstream out;
    GEOM_RESET_READ(&word);
    for (;;) {
        double arc, ax, ay, az, x, y, z;
        QOR_GEOMETRY point;
        int32_t found;
        GEOM_READ_LINE_POINT(&word, &arc, &ax, &ay, &az, &point, &found);
        if (!found) return out.str();
        GEOM_READ_POINT(point, &x, &y, &z);
        if (out.tellp() > 0) out << ", ";
        if (arc != 0) out << "@ ";
        out << x << ' ' << y;
        if (z != FLAT) out << ' ' << z;
        if (GEOM_GET_GATTR(point) != 0) out << " #" << GEOM_GET_GATTR(point);
    }
}

struct Taken {
    std::vector<Geom> geometries;
    static void take(void *context, QOR_GEOMETRY *geometry) {
        Geom kept;
        kept.word = std::exchange(*geometry, 0);
        static_cast<Taken *>(context)->geometries.push_back(std::move(kept));
    }
    double total(double (*measure)(QOR_GEOMETRY)) const {
        double sum = 0;
        for (const Geom &geometry : geometries) sum += measure(geometry.word);
        return sum;
    }
    std::string lines() const {
        std::string text;
        for (const Geom &geometry : geometries) text += (text.empty() ? "" : "; ") + read_line(geometry.word);
        return text;
    }
};
double plane_length(QOR_GEOMETRY geometry) { return GEOM_GET_LENGTH(geometry, 0); }

std::string shown_by(const std::function<void()> &work) {
    testing::internal::CaptureStdout();
    work();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

// --- overlay -----------------------------------------------------------------------

TEST(Overlay, KnownResults) {
    const std::string square = box(0, 0, 4, 4);
    const struct {
        std::string a, b;
        double common, both, rest;
    } cases[] = {
        {square, box(2, 2, 6, 6), 4, 28, 12},
        {square, box(4, 0, 8, 4), 0, 32, 16},                                                // touching only
        {square, box(1, 1, 2, 2), 1, 16, 15},                                                // a hole
        {square + ";" + box(1, 1, 3, 3) + ";" + box(1.5, 1.5, 2.5, 2.5), square, 13, 16, 0}, // an island in it
        {"0 0,4 4,4 0,0 4,0 0", square, 8, 16, 0},                                           // a bow tie
        {square + ";" + box(2, 0, 6, 4), box(0, 0, 6, 4), 16, 24, 0},                        // rands that cross
        {square + ";" + square, square, 0, 16, 0}, // what lies in two lies outside
        // A ring that goes into the other one and back the same way.
        {"2 5,5 5,2 2,4 4,5 2,1 2,2 5;0 1,2 5,2 3,2 4,3 3,0 1", box(0, 0, 6, 6), 8, 36, 0},
        {"0 0,4 0", square, 0, 16, 0}, // no content
        {"", square, 0, 16, 0},
        {square, "", 0, 16, 16},
        {"", "", 0, 0, 0},
    };
    for (const auto &c : cases) {
        const Geom a = area(c.a), b = area(c.b);
        SCOPED_TRACE(c.a + " | " + c.b);
        const Geom common = combine(GEOM2_AREA_INTERSECTION, a, b), both = combine(GEOM2_AREA_UNION, a, b);
        const Geom rest = combine(GEOM2_AREA_DIFFERENCE, a, b);
        EXPECT_NEAR(content(both), c.both, 1e-9);
        EXPECT_NEAR(content(common), c.common, 1e-9);
        EXPECT_NEAR(content(rest), c.rest, 1e-9);
        EXPECT_EQ(GEOM_ISEMPTY(common.word), c.common == 0);
    }
}

TEST(Overlay, WithTheEmptyAreaArcsStay) {
    Geom empty, round = area(circle(0, 0, 1));
    GEOM_SET_GATTR(round.word, 5);
    for (const Geom &same : {combine(GEOM2_AREA_UNION, empty, round), combine(GEOM2_AREA_DIFFERENCE, round, empty)})
        EXPECT_TRUE(GEOM2_HAS_ARCS(same.word) && GEOM_GET_GATTR(same.word) == 5);
}

// The contents of two areas, of what they have in common and of the rest fit together; the
// result is on the inside what both are.
TEST(Overlay, RandomStarsAndRings) {
    std::mt19937 random(4711);
    std::uniform_real_distribution<double> shift(-6, 6);
    for (int round = 0; round < 60; ++round) {
        // A third of them have a second rand that may cross the first one.
        const std::string extra = round % 3 == 0 ? text_of(';', star(random, shift(random), shift(random), 9)) : "";
        Geom a = area(star(random, 0, 0, 5 + round) + extra);
        Geom b = area(star(random, shift(random), shift(random), 40));
        const Geom common = combine(GEOM2_AREA_INTERSECTION, a, b), both = combine(GEOM2_AREA_UNION, a, b);
        const Geom rest = combine(GEOM2_AREA_DIFFERENCE, a, b);
        for (int i = 0; i < 50; ++i) {
            const GEOM_XY place = {shift(random), shift(random)};
            const int in_a = GEOM_IS_INSIDEAREA(place, a.word), in_b = GEOM_IS_INSIDEAREA(place, b.word);
            ASSERT_EQ(GEOM_IS_INSIDEAREA(place, common.word), in_a & in_b) << round;
            ASSERT_EQ(GEOM_IS_INSIDEAREA(place, both.word), in_a | in_b) << round;
            ASSERT_EQ(GEOM_IS_INSIDEAREA(place, rest.word), in_a & ~in_b) << round;
        }
        Taken pieces[2];
        QOR_GEOMETRY border;
        GEOM_READ_FIRST_SUBOBJ(b.word, &border);
        INTERNAL(GEOM2_FENCE_CUT)(border, a.word, Taken::take, &pieces[1], nullptr);
        INTERNAL(GEOM2_FENCE_CUT_OUTSIDE)(border, a.word, Taken::take, &pieces[0], nullptr);
        for (int is_inside : {0, 1}) {
            for (const Geom &piece : pieces[is_inside].geometries) {
                GEOM_XY place;
                double z;
                const double middle = plane_length(piece.word) / 2;
                ASSERT_EQ(GEOM2_CALC_POINT_AT(piece.word, middle, &place.x, &place.y, &z), 1);
                EXPECT_EQ(GEOM_IS_INSIDEAREA(place, a.word), is_inside) << round;
            }
        }
        EXPECT_NEAR(pieces[0].total(plane_length) + pieces[1].total(plane_length), plane_length(border), 1e-9);
        ASSERT_EQ(GEOM2_CLEAN_AREA(&a.word), 1);
        EXPECT_EQ(GEOM2_CHECK_AREA(a.word, nullptr, nullptr, nullptr), 1);
        EXPECT_NEAR(content(a) + content(b), content(both) + content(common), 1e-7);
        EXPECT_NEAR(content(a), content(rest) + content(common), 1e-7);
    }
}

TEST(Overlay, LensOfTwoCircles) {
    const double exact = 2 * PI / 3 - std::sqrt(3) / 2; // radius 1, centres 1 apart
    for (double tolerance : {1e-2, 1e-4, 1e-6}) {
        INTERNAL(GEOM2_RESOLUTION_SET)(tolerance);
        const Geom lens = combine(GEOM2_AREA_INTERSECTION, area(circle(0, 0, 1)), area(circle(1, 0, 1)));
        EXPECT_TRUE(content(lens) < exact && content(lens) > exact - 4 * PI / 3 * tolerance);
    }
    INTERNAL(GEOM2_RESOLUTION_SET)(0);
}

TEST(Overlay, HeightsAttributesAndDirections) {
    const Geom a = area("0 0 10,4 0 50,4 4 50,0 4 10,0 0 10");
    GEOM_SET_GATTR(a.word, 3);
    const Geom half = combine(GEOM2_AREA_INTERSECTION, a, area(box(-1, -1, 2, 9)));
    EXPECT_EQ(GEOM_GET_GATTR(half.word), 3);
    double zmin, zmax, unused;
    GEOM2_CALC_BOUNDING_BOX3D(half.word, &unused, &unused, &zmin, &unused, &unused, &zmax);
    EXPECT_EQ(zmin, 10);
    EXPECT_NEAR(zmax, 30, 1e-9);
    const Geom holed = combine(GEOM2_AREA_DIFFERENCE, area(box(0, 0, 4, 4)), area(box(1, 1, 2, 2)));
    QOR_GEOMETRY shell, hole;
    GEOM_READ_FIRST_SUBOBJ(holed.word, &shell);
    GEOM_READ_LAST_SUBOBJ(holed.word, &hole);
    EXPECT_TRUE(!GEOM2_AREA_CLOCKWISE(shell) && GEOM2_AREA_CLOCKWISE(hole));
}

// --- validity ------------------------------------------------------------------------

TEST(Cleaning, CheckAndCleanArea) {
    const std::string square = box(0, 0, 4, 4);
    const struct {
        std::string rands, reason;
        double x, y, content;
    } cases[] = {
        {square, "", 0, 0, 16},
        {square + ";" + box(1, 1, 2, 2), "", 0, 0, 15},
        {square + ";" + box(9, 9, 10, 10), "", 0, 0, 17},
        {circle(0, 0, 2), "", 0, 0, 4 * PI},
        {"0 0,@2 0 0 0", "", 0, 0, PI},
        {"0 0,4 0,2 2,4 4,0 4,2 2,0 0", "", 0, 0, 8},   // touches itself in a point
        {square + ";0 2,2 0,4 2,2 4,0 2", "", 0, 0, 8}, // so does a hole the border around it
        {"0 0,4 4,4 0,0 4,0 0", "Self-intersection", 2, 2, 8},
        {square + ";" + box(2, 1, 6, 3), "Self-intersection", 4, 1, 20 - 4},
        {"0 0,4 0,4 4,0 4", "a rand is not closed", 0, 4, 16},
        {"1 1,2 2,1 1", "a rand has no content", 1, 1, 0},
        {"0 0,2 0,4 0,0 0", "Self-intersection", 0, 0, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.rands);
        Geom made = area(c.rands);
        const bool had_arcs = GEOM2_HAS_ARCS(made.word) != 0;
        double x = -1, y = -1;
        const std::string reason =
            text_by([&](STRNG *s) { EXPECT_EQ(GEOM2_CHECK_AREA(made.word, s, &x, &y), c.reason.empty()); });
        EXPECT_EQ(reason, c.reason);
        EXPECT_TRUE(c.reason.empty() || c.content == 0 || (x == c.x && y == c.y)) << x << ' ' << y;
        GEOM_SET_GATTR(made.word, 9);
        EXPECT_EQ(GEOM2_CLEAN_AREA(&made.word), 1);
        EXPECT_NEAR(content(made), c.content, 1e-9);
        EXPECT_EQ(GEOM2_CHECK_AREA(made.word, nullptr, nullptr, nullptr), 1);
        EXPECT_EQ(GEOM_ISEMPTY(made.word), c.content == 0);
        EXPECT_EQ(GEOM_GET_GATTR(made.word), c.content == 0 ? 0 : 9);
        EXPECT_EQ(GEOM2_HAS_ARCS(made.word), had_arcs);
    }
    Geom rough = area("0.1 0.2,3.9 0.1,4.2 3.8,-0.3 4.1,0.1 0.2");
    EXPECT_EQ(GEOM2_CLEAN_AREA2(&rough.word, 1), 1);
    EXPECT_EQ(content(rough), 16);
    EXPECT_EQ(GEOM2_CLEAN_AREA2(&rough.word, 100), 1);
    EXPECT_TRUE(GEOM_ISEMPTY(rough.word));
}

TEST(Cleaning, Steps) {
    const struct {
        std::string line;
        int32_t done;
        std::string result;
    } cases[] = {
        {"0 0,1 0,1 0,2 0", GEOM_CLEAN_POINTS, "0 0, 1 0, 2 0"},
        {"0 0,@1 0 2 0,3 1", GEOM_CLEAN_ARCS, "0 0, 2 0, 3 1"},
        {"0 0,@0 0 0 0,3 1", GEOM_CLEAN_POINTS, "0 0, 3 1"},
        {"0 0,@2 0 0 0", 0, "0 0, @ 0 0"},
        {"5 5,5 5,5 5", GEOM_CLEAN_POINTS, ""},
        {"0 0,@1 1 2 0", 0, "0 0, @ 2 0"},
    };
    int32_t status = 77;
    for (const auto &c : cases) {
        Geom made = line(c.line);
        EXPECT_EQ(GEOM3_GEOM_CLEAN(&made.word, &status), 1);
        EXPECT_EQ(status, c.done) << c.line;
        EXPECT_EQ(made.word ? read_line(made.word) : "", c.result);
    }
    Geom open = rand_of(line("0 0,4 0,4 4"));
    GEOM_APPEND_RAND_LINE(&open.word, line("5 5,0 5").word);
    GEOM3_GEOM_CLEAN(&open.word, &status);
    EXPECT_EQ(status, GEOM_CLEAN_RINGS);
    EXPECT_EQ(GEOM_GET_LENGTH(open.word, 0), 4 + 4 + std::sqrt(2) + 5 + 5);
    Geom tie = area("0 0,4 4,4 4,4 0,0 4");
    EXPECT_EQ(GEOM3_GEOM_CLEAN_SYSTEM_SET(GEOM_CLEAN_RINGS), 15);
    GEOM3_GEOM_CLEAN(&tie.word, &status);
    EXPECT_EQ(status, GEOM_CLEAN_RINGS);
    EXPECT_EQ(GEOM3_GEOM_CLEAN_SYSTEM_SET(15), GEOM_CLEAN_RINGS);
    GEOM3_GEOM_CLEAN(&tie.word, &status);
    EXPECT_EQ(status, GEOM_CLEAN_POINTS | GEOM_CLEAN_AREAS);
    EXPECT_NEAR(content(tie), 8, 1e-12);
    EXPECT_EQ(GEOM3_GEOM_CLEAN_RESOLUTION_SET(0.1), 0);
    Geom near = line("0 0,0.05 0,3 0,3 0.04");
    GEOM3_GEOM_CLEAN(&near.word, &status);
    EXPECT_EQ(read_line(near.word), "0 0, 3 0.04");
    EXPECT_EQ(GEOM3_GEOM_CLEAN_RESOLUTION_SET(-1), 0.1);
    EXPECT_EQ(GEOM3_GEOM_CLEAN_RESOLUTION_SET(0), 0.1);
    Geom broken(1, NO_NUMBER);
    const std::string shown = shown_by([&] { EXPECT_EQ(GEOM3_GEOM_CLEAN(&broken.word, &status), 0); });
    EXPECT_EQ(shown, "*** ERROR *** GEOM(GEOM3_GEOM_CLEAN) a coordinate is not a usable number\n");
    EXPECT_EQ(status, -1);
    for (const auto &[sum, expected] : std::map<int32_t, std::string>{
             {0, "clean"}, {5, "repeated points removed, rands closed"}, {16, "unknown status"}})
        EXPECT_EQ(text_by([&](STRNG *s) { GEOM3_GEOM_CLEAN_STATUS_DESCR_GET(sum, s); }), expected);
}

TEST(Cleaning, CheckTellsFaults) {
    const auto faults = [](const Geom &geometry) {
        std::string shown = shown_by([&] { INTERNAL(GEOM_CHECK_GEOMETRY)(geometry.word); });
        const std::string prefix = "*** ERROR *** GEOM(GEOM_CHECK_GEOMETRY) ";
        for (size_t at; (at = shown.find(prefix)) != std::string::npos;) shown.erase(at, prefix.size());
        return shown;
    };
    EXPECT_EQ(faults(area(circle(0, 0, 1) + ";" + box(-0.1, -0.1, 0.1, 0.1))), "");
    EXPECT_EQ(faults(line("0 0,@0 0 0 0")), "point 2: arc is empty: its three points lie at one place\n"
                                            "line is empty: all its points lie at one place\n");
    EXPECT_EQ(faults(line("0 0,1 0,@2 0 3 0")),
              "point 3: arc has no curvature: its three points lie on one straight line\n");
    EXPECT_EQ(faults(area("0 0,4 4,4 0,0 4,0 0")), "Self-intersection at 2.000000/2.000000\n");
    EXPECT_EQ(faults(rand_of(line("1 1,2 2,1 1"))), "a rand has no content at 1.000000/1.000000\n");
}

// --- fences ----------------------------------------------------------------------------

TEST(Fence, Relations) {
    enum { OUT = GEOM_FENCE_OUTSIDE, TOUCH = GEOM_FENCE_TOUCHES, CROSS = GEOM_FENCE_CROSSES, IN = GEOM_FENCE_INSIDE };
    const Geom fence = area(box(0, 0, 10, 10) + ";" + box(4, 4, 6, 6));
    const Geom round = area(circle(0, 0, 5));
    struct Case {
        const Geom &fence;
        Geom geometry;
        int relation, inside, with_border;
    };
    const Case cases[] = {
        {fence, {2, 2}, IN, 1, 1},
        {fence, {0, 3}, TOUCH, 0, 1},
        {fence, {4, 5}, TOUCH, 0, 1},
        {fence, {5, 5}, OUT, 0, 0},
        {round, {3, 4}, TOUCH, 0, 1}, // exact, though arcs are
        {round, {3, 3.999999}, IN, 1, 1},
        {fence, line("1 1,3 3"), IN, 1, 1},
        {fence, line("0 0,3 3"), IN, 0, 1},
        {fence, line("0 0,10 0"), TOUCH, 0, 1},
        {fence, line("-5 0,5 0"), TOUCH, 0, 0},
        {fence, line("1 1,12 1"), CROSS, 0, 0},
        {fence, line("2 2,2 2"), IN, 1, 1},
        {fence, rand_of(line(box(0, 0, 10, 10))), TOUCH, 0, 1},
        {fence, area(box(1, 1, 3, 3)), IN, 1, 1},
        {fence, area(box(0, 0, 3, 3)), IN, 0, 1},
        {fence, area(box(1, 1, 9, 9)), CROSS, 0, 0},
        {fence, area(box(4, 4, 6, 6)), TOUCH, 0, 0},
        {fence, area(box(-9, -9, 90, 90)), CROSS, 0, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(&c - cases);
        int32_t relation = -1;
        EXPECT_EQ(GEOM2_IS_INSIDE_FENCE_EXT(c.geometry.word, c.fence.word, &relation), 1);
        EXPECT_EQ(relation, c.relation);
        EXPECT_EQ(GEOM2_IS_INSIDE_FENCE(c.geometry.word, c.fence.word), c.inside);
        EXPECT_EQ(GEOM2_IS_INSIDE_FENCE_AND_BORDER(c.geometry.word, c.fence.word), c.with_border);
    }
    int32_t relation = 9;
    EXPECT_EQ(GEOM2_IS_INSIDE_FENCE_EXT(0, fence.word, &relation), 0);
    EXPECT_EQ(GEOM2_IS_INSIDE_FENCE_EXT(fence.word, 0, &relation), 0);
    EXPECT_EQ(relation, 9);
    EXPECT_ABORT(GEOM2_IS_INSIDE_FENCE(fence.word, Geom(1, 1).word), "area expected, not point");
}

TEST(Fence, PiecesOfLines) {
    const Geom fence = area(box(0, 0, 10, 10)), round = area(circle(0, 0, 5));
    const struct {
        const Geom &fence;
        Geom geometry;
        std::string inside, outside;
    } cases[] = {
        {fence, line("-5 5,5 5,5 20"), "0 5, 5 5, 5 10", "-5 5, 0 5; 5 10, 5 20"},
        {fence, line("-5 0,20 0"), "0 0, 10 0", "-5 0, 0 0; 10 0, 20 0"}, // along the border
        {fence, line("0 0,10 0,10 10,20 10"), "0 0, 10 0, 10 10", "10 10, 20 10"},
        {fence, line("-5 5,0 10,-5 15"), "", "-5 5, 0 10, -5 15"},  // touches a corner
        {fence, line("1 1,9 9,9 1,1 9"), "1 1, 9 9, 9 1, 1 9", ""}, // crosses itself
        {fence, line("15 5,@10 10 5 5"), "10 10, @ 5 5", "15 5, @ 10 10"},
        {round, line("-9 3,9 3"), "-4 3, 4 3", "-9 3, -4 3; 4 3, 9 3"},
        {round, line("-5 0,@0 5 5 0"), "-5 0, @ 5 0", ""}, // along an arc
        {fence, rand_of(line(box(5, 5, 15, 7))), "10 7, 5 7, 5 5, 10 5", "10 5, 15 5, 15 7, 10 7"},
        {fence, rand_of(line(box(20, 5, 30, 7))), "", "20 5, 30 5, 30 7, 20 7, 20 5"},
    };
    for (const auto &c : cases) {
        GEOM_SET_GATTR(c.geometry.word, 4);
        Taken inside, outside;
        int32_t count = -1;
        EXPECT_EQ(INTERNAL(GEOM2_FENCE_CUT)(c.geometry.word, c.fence.word, Taken::take, &inside, &count), 1);
        EXPECT_EQ(count, static_cast<int32_t>(inside.geometries.size()));
        INTERNAL(GEOM2_FENCE_CUT_OUTSIDE)(c.geometry.word, c.fence.word, Taken::take, &outside, nullptr);
        EXPECT_EQ(inside.lines(), c.inside);
        EXPECT_EQ(outside.lines(), c.outside);
        for (const Geom &piece : inside.geometries) EXPECT_EQ(GEOM_GET_GATTR(piece.word), 4);
        EXPECT_NEAR(inside.total(plane_length) + outside.total(plane_length), plane_length(c.geometry.word), 1e-9);
    }
    const Geom slope = line("5 5 100,15 5 200");
    QOR_GEOMETRY start;
    GEOM_READ_FIRST_SUBOBJ(slope.word, &start);
    GEOM_SET_GATTR(start, 8);
    Taken piece;
    INTERNAL(GEOM2_FENCE_CUT)(slope.word, fence.word, Taken::take, &piece, nullptr);
    EXPECT_EQ(piece.lines(), "5 5 100 #8, 10 5 150");
}

TEST(Fence, PiecesOfPointsAndAreas) {
    const Geom fence = area(box(0, 0, 10, 10)), comb = area("-5 1,5 1,5 2,-1 2,-1 3,5 3,5 4,-5 4,-5 1");
    Taken inside, outside, border;
    INTERNAL(GEOM2_FENCE_CUT)(comb.word, fence.word, Taken::take, &inside, nullptr);
    INTERNAL(GEOM2_FENCE_CUT_OUTSIDE)(comb.word, fence.word, Taken::take, &outside, nullptr);
    EXPECT_TRUE(inside.geometries.size() == 2 && inside.total(GEOM_GET_AREA) == 10);
    EXPECT_TRUE(outside.geometries.size() == 1 && outside.total(GEOM_GET_AREA) == 14);
    const Geom corner(10, 10);
    EXPECT_EQ(INTERNAL(GEOM2_FENCE_CUT)(corner.word, fence.word, Taken::take, &border, nullptr), 1);
    EXPECT_EQ(INTERNAL(GEOM2_FENCE_CUT_OUTSIDE)(corner.word, fence.word, Taken::take, &border, nullptr), 1);
    EXPECT_EQ(border.geometries.size(), 1u);
}

// --- hatching -----------------------------------------------------------------------------

TEST(Hatch, LengthTimesSpacingIsContent) {
    const struct {
        std::string shape;
        double content;
    } cases[] = {
        {box(0.3, 0.3, 90.7, 50.2) + ";" + circle(40, 25, 20), 90.4 * 49.9 - 400 * PI},
        {circle(1e6, 1e6, 30), 900 * PI},
        {"0 0,100 0,@50 50 0 0", 1250 * PI},
        {"0 0,50 50,50 0,0 50,0 0", 1250},
    };
    for (const auto &c : cases) {
        const Geom made = area(c.shape);
        for (double angle : {0.0, 0.3, PI / 2, 2.0, -3.0}) {
            Taken lines;
            ASSERT_EQ(GEOM2_HATCH_AREA(made.word, Taken::take, &lines, angle, 0.05, nullptr), 1);
            EXPECT_NEAR(lines.total(plane_length) * 0.05, c.content, c.content * 2e-3) << c.shape << " at " << angle;
            // All run in the direction of the angle, on lines that the origin is one of.
            for (const Geom &geometry : lines.geometries) {
                double x1, y1, x2, y2, z;
                int32_t found;
                GEOM_FIRST_LAST_POINT(geometry.word, &x1, &y1, &z, &x2, &y2, &z, &found);
                const double dx = std::cos(angle), dy = std::sin(angle), number = (y1 * dx - x1 * dy) / 0.05;
                ASSERT_NEAR((x2 - x1) * dx + (y2 - y1) * dy, std::hypot(x2 - x1, y2 - y1), 1e-6);
                ASSERT_NEAR(number, std::round(number), 1e-4);
            }
        }
    }
}

TEST(Hatch, KnownLinesAndLimits) {
    const Geom holed = area(box(0, 0.5, 10, 3.5) + ";" + box(2, 1.5, 4, 2.5));
    Taken lines, crossed;
    EXPECT_EQ(GEOM2_HATCH_AREA(holed.word, Taken::take, &lines, 0, 1, nullptr), 1);
    EXPECT_EQ(lines.lines(), "0 1, 10 1; 0 2, 2 2; 4 2, 10 2; 0 3, 10 3");
    int32_t count = 0;
    EXPECT_EQ(GEOM2_CROSSHATCH_AREA(holed.word, Taken::take, &crossed, 0, 1, PI / 2, 3, &count), 1);
    EXPECT_EQ(count, 4 + 5); // x is 0, 3, where the hole is, 6 and 9
    const Geom flat = area("0 0,1e9 0,0 1e-3,0 0");
    const auto refused = [&](double angle, double spacing) {
        return !shown_by([&] {
                    EXPECT_EQ(GEOM2_HATCH_AREA(flat.word, Taken::take, &lines, angle, spacing, &count), 0);
                }).empty();
    };
    EXPECT_TRUE(refused(PI / 2, 1) && refused(0, 1e-300) && refused(0, 0) && refused(0, -1) && refused(0, NO_NUMBER) &&
                refused(INFINITY, 1) && refused(0, INFINITY));
    EXPECT_EQ(GEOM2_HATCH_AREA(0, Taken::take, &lines, 0, 1, nullptr), 0);
}

TEST(Hatch, LatticePoints) {
    const Geom square = area(box(0, 0, 10, 10)), round = area(circle(0, 0, 100)), moved = area(box(0.5, 0.5, 10, 10));
    const struct {
        const Geom &area;
        double along, across, angle, shift;
        int32_t at_box;
        int32_t count;
    } cases[] = {
        {square, 1, 1, 0, 0, 0, 121},        {square, 1, 1, PI / 2, 0, 0, 121}, {square, 2, 5, 0, 1, 0, 6 + 5 + 6},
        {square, 5, 2, PI / 2, 0, 0, 3 * 6}, {moved, 1, 1, 0, 0, 1, 100},       {moved, 1, 1, 0, 0, 0, 100},
        {round, 1, 1, 0, 0, 0, 31417}, // Gauss
    };
    for (const auto &c : cases) {
        Taken points;
        int32_t count = 0;
        EXPECT_EQ(GEOM2_PATTERN_AREA(c.area.word, Taken::take, &points, c.along, c.across, c.angle, c.shift, c.at_box,
                                     &count),
                  1);
        EXPECT_EQ(count, c.count);
        EXPECT_EQ(points.geometries.size(), static_cast<size_t>(c.count));
    }
    const std::string shown = shown_by([&] {
        EXPECT_EQ(GEOM2_PATTERN_AREA(round.word, Taken::take, nullptr, 1e-5, 1, 0, 0, 0, nullptr), 0);
        EXPECT_EQ(GEOM2_PATTERN_AREA(round.word, Taken::take, nullptr, 0.15, 0.15, 0, 0, 0, nullptr), 0);
    });
    EXPECT_NE(shown.find("too narrow"), std::string::npos);
    EXPECT_NE(shown.find("1,000,000 points"), std::string::npos);
}

// --- parallel boundaries ---------------------------------------------------------------------

TEST(Parallel, GrownAndShrunk) {
    const std::string square = box(0, 0, 10, 10), wedge = "0 0,12 0,0 5,0 0"; // with sides of 12, 5 and 13
    const double sharp = std::atan2(5, 12), wide = PI / 2 - sharp;
    const auto kite = [](double angle) { return 1 / std::tan(angle / 2); };
    const auto bevel = [](double angle) { return std::sin(angle) / 2; };
    const struct {
        std::string shape;
        double distance;
        int32_t corner;
        double limit, content;
    } cases[] = {
        {square, 2, GEOM_CORNER_ROUND, 0, 180 + 4 * PI},
        {square, 2, GEOM_CORNER_MITRE, 0, 196},
        {square, 2, GEOM_CORNER_MITRE, 1.4, 188},
        {square, 2, GEOM_CORNER_BEVEL, 0, 188},
        {square, -2, GEOM_CORNER_ROUND, 0, 36},
        {square, -5.1, GEOM_CORNER_ROUND, 0, 0},
        {square, 0, GEOM_CORNER_MITRE, 0, 100},
        {square + ";" + box(2, 2, 8, 8), 1, GEOM_CORNER_MITRE, 0, 144 - 16},
        {square + ";" + box(3, 3, 7, 7), -1, GEOM_CORNER_MITRE, 1.4, 64 - 36 + 2},
        {circle(0, 0, 5), 1, GEOM_CORNER_ROUND, 0, 36 * PI},
        {wedge, 1, GEOM_CORNER_MITRE, 6, 30 + 30 + kite(sharp) + kite(wide) + 1},
        {wedge, 1, GEOM_CORNER_MITRE, 0, 30 + 30 + bevel(sharp) + kite(wide) + 1}, // the sharp one is 5.1 long
        {wedge, 1, GEOM_CORNER_MITRE, 1.5, 30 + 30 + bevel(sharp) + bevel(wide) + 1},
    };
    for (const auto &c : cases) {
        Geom made = area(c.shape), copy;
        GEOM_SET_GATTR(made.word, 6);
        EXPECT_EQ(INTERNAL(GEOM2_COPY_AREA_BOUNDARY_PARALLEL)(made.word, c.distance, c.corner, c.limit, &copy.word), 1);
        EXPECT_NEAR(content(copy), c.content, c.corner == GEOM_CORNER_ROUND ? c.content * 1e-3 : 1e-9) << c.shape;
        EXPECT_EQ(GEOM_GET_GATTR(copy.word), c.content == 0 ? 0 : 6);
    }
}

// --- hostile geometries -------------------------------------------------------------------------

// The results are of no interest here, but that there are any.
void try_everything(Geom made, const Geom &other, const std::function<double()> &any) {
    Geom result, copy;
    Taken pieces;
    int32_t number;
    for (Overlay *operation : {GEOM2_AREA_INTERSECTION, GEOM2_AREA_UNION, GEOM2_AREA_DIFFERENCE})
        operation(made.word, other.word, &result.word);
    QOR_GEOMETRY rand, line;
    GEOM_READ_FIRST_SUBOBJ(made.word, &rand);
    GEOM_READ_FIRST_SUBOBJ(rand, &line);
    for (QOR_GEOMETRY geometry : {line, rand, made.word}) {
        INTERNAL(GEOM2_FENCE_CUT)(geometry, other.word, Taken::take, &pieces, &number);
        INTERNAL(GEOM2_FENCE_CUT_OUTSIDE)(geometry, other.word, Taken::take, &pieces, &number);
        GEOM2_IS_INSIDE_FENCE_EXT(geometry, other.word, &number);
        INTERNAL(GEOM_CHECK_GEOMETRY)(geometry);
    }
    for (int32_t corner : {0, 1, 2})
        INTERNAL(GEOM2_COPY_AREA_BOUNDARY_PARALLEL)(made.word, any(), corner, any(), &result.word);
    GEOM2_HATCH_AREA(made.word, Taken::take, &pieces, any(), any(), &number);
    GEOM2_PATTERN_AREA(made.word, Taken::take, &pieces, any(), any(), any(), any(), 1, &number);
    GEOM_COPY(made.word, &copy.word);
    GEOM2_CLEAN_AREA2(&copy.word, any());
    GEOM3_GEOM_CLEAN(&made.word, &number);
}

TEST(Hostile, NothingCrashesOrHangs) {
    const std::vector<double> sets[] = {{0, 1, 2, 3},
                                        {0, 1, -1, 3, 0.1, 1e9, 1e-15, 1e-300, 1e15, 1e149, -1e149},
                                        {0, 1, 7, 1e160, 1e300, INFINITY, NO_NUMBER}};
    std::mt19937 random(1);
    shown_by([&] {
        for (int round = 0; round < 75; ++round) {
            const std::vector<double> &numbers = sets[round % 3];
            const auto any = [&] { return numbers[random() % numbers.size()]; };
            const auto any_area = [&] {
                std::string rands;
                for (unsigned i = 0; i <= random() % 3; ++i) {
                    rands += text_of(i == 0 ? "" : ";", any(), ' ', any());
                    for (unsigned points = 1 + random() % 7; points > 0; --points) {
                        const std::string over = random() % 4 == 0 ? text_of('@', any(), ' ', any(), ' ') : "";
                        rands += text_of(',', over, any(), ' ', any());
                    }
                }
                return area(rands);
            };
            try_everything(any_area(), any_area(), any);
        }
    });
}

// Thousands of islands, rings deep in rings, and a ring of many points take no more than
// a few seconds.
TEST(Hostile, LargeAreas) {
    const auto start = std::chrono::steady_clock::now();
    std::string islands = box(-1, -1, 301, 301), rings = box(-1, -1, 301, 301), jagged = "0 0";
    for (int i = 0; i < 100; ++i) {
        for (int j = 0; j < 50; ++j) islands += text_of(';', box(3 * i + 0.5, 6 * j + 0.5, 3 * i + 1.5, 6 * j + 1.5));
    }
    for (int i = 0; i < 500; ++i) rings += text_of(';', box(i * 0.05, i * 0.05, 300 - i * 0.05, 300 - i * 0.05));
    for (int i = 0; i < 60000; ++i) jagged += ',' + std::to_string(i * 0.01) + (i % 2 ? " 1" : " 3");
    jagged += ",600 -1,0 -1,0 0";
    for (const std::string &shape : {islands, rings, jagged}) {
        Geom made = area(shape);
        EXPECT_EQ(GEOM2_CHECK_AREA(made.word, nullptr, nullptr, nullptr), 1);
        const Geom common = combine(GEOM2_AREA_INTERSECTION, made, area(box(-50, -50, 4000, 4000)));
        EXPECT_NEAR(content(common) / content(made), 1, 1e-9);
        Taken pieces;
        INTERNAL(GEOM2_FENCE_CUT)(line("-9 1.02,3000 1.02").word, made.word, Taken::take, &pieces, nullptr);
        EXPECT_GT(pieces.geometries.size(), 20u);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

} // namespace
