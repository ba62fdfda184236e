// The text form of values that no script of the kernel's own can make.
#include <string>

#include "kernel_environment.hpp"
#include "qor/qor.h"

namespace {

// Releases the object.
std::string form(QOR_OBJECT *object) {
    QORCPU_PUSH_OBJ_REF(object);
    OBJ_remove_object(&object);
    testing::internal::CaptureStdout();
    QORCPU_DO_METHOD_BY_NAME_C("SERIAL", "DISPLAY_OBJECT");
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

TEST(Serial, geometries) {
    QOR_GEOMETRY point = 0, line = 0, rand = 0, area = 0;
    GEOM_CREATE_POINT(&point, 1, 2, GEOM_NO_HEIGHT);
    GEOM_CREATE_LINE(&line, point, 0, 0, 0, 0, point);
    GEOM_CREATE_RAND(&rand, line);
    GEOM_CREATE_AREA(&area, rand);
    QOR_OBJECT *list = QOR_NIL, *object = QOR_NIL;
    BTYP_create_list(&list);
    for (const QOR_GEOMETRY adopted : {point, line, rand, area, QOR_GEOMETRY{0}}) {
        BTYP_create_geometry_ref(&object, adopted);
        BTYP_append_to_list(list, object);
    }
    BTYP_create_undef_geometry(&object);
    BTYP_append_to_list(list, object);
    OBJ_remove_object(&object);
    EXPECT_EQ(form(list), "LIST\n   POINT\n   LINE\n   AREA\nGEOMETRY NULL\n}\n");
}

TEST(Serial, texts_end_at_a_zero_byte) {
    const char text[] = "a\0 b";
    const STRNG s = {4, 4, reinterpret_cast<uint8_t *>(const_cast<char *>(text))};
    QOR_MAP *map;
    MAP_CREATE_NONAME(&map);
    MAP_SET_LABEL(map, s);
    MAP_INSERT_SVALUE(map, s, s);
    QOR_OBJECT *object = QOR_NIL;
    BTYP_create_map_ref(&object, map);
    EXPECT_EQ(form(object), "a\n   a STRING a\n}\n");
}

TEST(Serial, large_numbers) {
    QOR_OBJECT *object = QOR_NIL;
    BTYP_create_real(&object, -1e308);
    EXPECT_EQ(form(object).size(), 5u + 1 + 309 + 7 + 1);
}

} // namespace
