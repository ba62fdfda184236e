#include "kernel_environment.hpp"

#include <cmath>
#include <sstream>
#include <string>

#include "qor/btyp.h"
#include "qor/geom.h"
#include "qor/obj.h"
#include "qor/qorcpu.h"
#include "texts.hpp"

// Everything here goes through the kernel's entries into the module.
namespace {

constexpr double FLAT = GEOM_NO_HEIGHT;

// A geometry variable that releases what it holds.
struct Geom {
    QOR_GEOMETRY word;

    Geom() { GEOM_INITIALIZE(&word); }
    Geom(double x, double y, int32_t attribute = 0, double z = FLAT) : Geom() {
        GEOM_CREATE_POINT(&word, x, y, z);
        GEOM_SET_GATTR(word, attribute);
    }
    Geom(const Geom &) = delete;
    Geom &operator=(const Geom &) = delete;
    ~Geom() { GEOM_REMOVE(&word); }
};

// The square with the corner points (0,0) and (2,2), as a ring of two lines;
// the second one begins with an arc.
struct Square : Geom {
    Square() {
        Geom line;
        GEOM_CREATE_LINE(&line.word, Geom(0, 0, 1).word, 0, 0, 0, FLAT, Geom(2, 0, 2).word);
        GEOM_APPEND_LINE_POINT(&line.word, 0, 0, 0, FLAT, Geom(2, 2, 3).word);
        GEOM_SET_GATTR(line.word, 10);
        GEOM_CREATE_RAND(&word, line.word);
        GEOM_CREATE_LINE(&line.word, Geom(2, 2).word, 1.5, 1, 3, FLAT, Geom(0, 2, 4, 7.25).word);
        GEOM_APPEND_LINE_POINT(&line.word, 0, 0, 0, FLAT, Geom(0, 0, 5).word);
        GEOM_APPEND_RAND_LINE(&word, line.word);
        GEOM_SET_GATTR(word, 20);
    }
};

// The points and attributes of a line, an arc point in brackets.
std::string read_line(QOR_GEOMETRY line) {
    std::string text;
    GEOM_RESET_READ(&line);
    for (;;) {
        double arc, ax, ay, az, x, y, z;
        QOR_GEOMETRY point;
        int32_t found;
        GEOM_READ_LINE_POINT(&line, &arc, &ax, &ay, &az, &point, &found);
        if (!found) return text;
        GEOM_READ_POINT(point, &x, &y, &z);
        std::ostringstream out;
        if (arc != 0) out << '[' << ax << ' ' << ay << "] ";
        out << x << ' ' << y << " #" << GEOM_GET_GATTR(point) << (z == FLAT ? "; " : " z; ");
        text += out.str();
    }
}

std::string read_rand(QOR_GEOMETRY rand) {
    std::string text;
    GEOM_RESET_READ(&rand);
    for (;;) {
        QOR_GEOMETRY line;
        int32_t found;
        GEOM_READ_RAND_LINE(&rand, &line, &found);
        if (!found) return text;
        text += '#' + std::to_string(GEOM_GET_GATTR(line)) + ": " + read_line(line);
    }
}

constexpr char SQUARE[] = "#10: 0 0 #1; 2 0 #2; 2 2 #3; #0: 2 2 #0; [1 3] 0 2 #4 z; 0 0 #5; ";

TEST(Geometry, CopyIsIndependent) {
    Geom copy;
    {
        const Square square;
        Geom area;
        GEOM_CREATE_AREA(&area.word, square.word);
        GEOM_APPEND_AREA_RAND(&area.word, square.word);
        GEOM_COPY(area.word, &copy.word);
    }
    QOR_GEOMETRY word = copy.word, rand, line;
    int32_t found, kind;
    GEOM_READ_AREA_RAND(&word, &rand, &found);
    QOR_GEOMETRY lines = rand;
    GEOM_READ_RAND_LINE(&lines, &line, &found);
    GEOM_SET_GATTR(line, 11);
    EXPECT_EQ(read_rand(rand).substr(0, 5), "#11: ");
    GEOM_READ_AREA_RAND(&word, &rand, &found);
    ASSERT_TRUE(found);
    GEOM_READ_TYPE(rand, &kind);
    EXPECT_TRUE(kind == GEOM_RAND && GEOM_GET_GATTR(rand) == 20);
    EXPECT_EQ(read_rand(rand), SQUARE);
    GEOM_READ_AREA_RAND(&word, &rand, &found);
    EXPECT_FALSE(found);
}

TEST(Geometry, ReadsGoOnSideBySideAndFollowAppends) {
    Square square;
    QOR_GEOMETRY slow = square.word, fast = square.word, first, line;
    int32_t found;
    GEOM_RESET_READ(&slow);
    GEOM_RESET_READ(&fast);
    GEOM_READ_RAND_LINE(&slow, &first, &found);
    do GEOM_READ_RAND_LINE(&fast, &line, &found);
    while (found);
    GEOM_APPEND_RAND_LINE(&square.word, first);
    GEOM_READ_RAND_LINE(&fast, &line, &found);
    EXPECT_TRUE(found);
    EXPECT_EQ(read_line(line), read_line(first));
    GEOM_READ_RAND_LINE(&slow, &line, &found);
    EXPECT_EQ(GEOM_GET_GATTR(line), 0);
    // A word that was read through still stands for its geometry.
    EXPECT_EQ(GEOM_GET_GATTR(fast), 20);
    GEOM_RESET_READ(&fast);
    EXPECT_EQ(fast, square.word);
}

TEST(Geometry, CreatingMayUseWhatTheVariableHeld) {
    Geom shape(1, 2, 3);
    GEOM_CREATE_LINE(&shape.word, shape.word, 0, 0, 0, FLAT, Geom(4, 5).word);
    GEOM_APPEND_LINE_POINT(&shape.word, 0, 0, 0, FLAT, Geom(1, 2).word);
    double v[6];
    int32_t found;
    GEOM_FIRST_LAST_POINT(shape.word, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &found);
    EXPECT_TRUE(found && v[0] == 1 && v[1] == 2 && v[2] == FLAT && v[3] == 1 && v[4] == 2 && v[5] == FLAT);
    GEOM_CREATE_RAND(&shape.word, shape.word);
    EXPECT_EQ(read_rand(shape.word), "#0: 1 2 #3; 4 5 #0; 1 2 #0; ");
}

TEST(Geometry, EmptyGeometryIsSafe) {
    Geom empty, copy;
    int32_t kind, found = 1;
    EXPECT_TRUE(GEOM_ISEMPTY(empty.word));
    GEOM_READ_TYPE(empty.word, &kind);
    EXPECT_EQ(kind, -1);
    EXPECT_EQ(GEOM_GET_GATTR(empty.word), 0);
    GEOM_COPY(empty.word, &copy.word);
    EXPECT_TRUE(GEOM_ISEMPTY(copy.word));
    EXPECT_EQ(read_line(empty.word), "");
    double x;
    GEOM_FIRST_LAST_POINT(empty.word, &x, &x, &x, &x, &x, &x, &found);
    EXPECT_FALSE(found);
    EXPECT_ABORT(GEOM_READ_POINT(empty.word, &x, &x, &x), "GEOM_READ_POINT\\) point expected, not an empty geometry\n");
    EXPECT_ABORT(GEOM_SET_GATTR(empty.word, 1), "an empty geometry has no attribute\n");
}

TEST(Geometry, AnotherKindAborts) {
    Square square;
    Geom point(1, 1), target;
    QOR_GEOMETRY word = square.word, part;
    int32_t found;
    EXPECT_ABORT(GEOM_READ_AREA_RAND(&word, &part, &found), "area expected, not rand\n");
    EXPECT_ABORT(GEOM_CREATE_AREA(&target.word, point.word), "GEOM_CREATE_AREA\\) rand expected, not point\n");
    EXPECT_ABORT(GEOM_APPEND_RAND_LINE(&point.word, point.word), "rand expected, not point\n");
    GEOM_READ_RAND_LINE(&word, &part, &found);
    EXPECT_ABORT(GEOM_REMOVE(&part), "this line is a part of another geometry\n");
}

TEST(Geometry, ObjectsOwnAndShowTheirGeometry) {
    QOR_OBJECT *object = nullptr;
    const auto shown = [&] { return text_by([&](STRNG *s) { OBJ_to_string(object, s); }); };
    QORCPU_PUSHP(1, 2, FLAT);
    QORCPU_POP_OBJ(&object);
    EXPECT_EQ(shown(), "1.000000/2.000000");
    const Square square;
    BTYP_write_geometry(object, square.word);
    EXPECT_EQ(shown(), "RAND");
    testing::internal::CaptureStdout();
    OBJ_display_object(object);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "RAND GATTR 20\n"
                                                      "   LINE GATTR 10\n"
                                                      "      0.000000/0.000000 GATTR 1\n"
                                                      "      2.000000/0.000000 GATTR 2\n"
                                                      "      2.000000/2.000000 GATTR 3\n"
                                                      "   END_LINE\n"
                                                      "   LINE\n"
                                                      "      2.000000/2.000000\n"
                                                      "      ARC 1.000000/3.000000\n"
                                                      "      0.000000/2.000000/7.250000 GATTR 4\n"
                                                      "      0.000000/0.000000 GATTR 5\n"
                                                      "   END_LINE\n"
                                                      "END_RAND\n");
    OBJ_remove_object(&object);
}

TEST(Geometry, CheckReportsWhatIsWrong) {
    const auto faults = [](QOR_GEOMETRY geometry) {
        QOR_OBJECT *object = nullptr;
        BTYP_create_geometry(&object, geometry);
        testing::internal::CaptureStdout();
        OBJ_check_object(object);
        std::fflush(stdout);
        OBJ_remove_object(&object);
        return testing::internal::GetCapturedStdout();
    };
    const std::string prefix = "*** ERROR *** GEOM(GEOM_CHECK_GEOMETRY) ";
    EXPECT_EQ(faults(Square().word), "");
    EXPECT_EQ(faults(Geom(1, std::nan("")).word), prefix + "point: coordinate is not a number\n");
    Geom line, rand, area;
    GEOM_CREATE_LINE(&line.word, Geom(1, 1).word, 0, 0, 0, FLAT, Geom(1, 1).word);
    EXPECT_EQ(faults(line.word), prefix + "line is empty: all its points lie at one place\n");
    GEOM_APPEND_LINE_POINT(&line.word, 0, 0, 0, FLAT, Geom(2, 1).word);
    GEOM_CREATE_RAND(&rand.word, line.word);
    GEOM_APPEND_RAND_LINE(&rand.word, line.word);
    GEOM_CREATE_AREA(&area.word, rand.word);
    EXPECT_EQ(faults(area.word), prefix + "rand 1: line 2: does not start where the line before it ends\n" + prefix +
                                     "rand 1: ring is not closed\n");
}

} // namespace
