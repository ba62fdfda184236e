// Lines and areas as rule parameters: no script of the kernel's own can make
// one, so the source and the procedures of the rule are native here.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "qor/qor.h"

namespace {

int reads;
std::vector<std::string> got;

void put(QOR_MAP *map, const char *key, QOR_GEOMETRY geometry) {
    QOR_OBJECT *object = QOR_NIL;
    BTYP_create_geometry_ref(&object, geometry);
    MAP_INSERT_OBJECT_REF_C(map, key, object);
    OBJ_remove_object(&object);
}

void open_source() { QORCPU_POP(); }
void close_source() {}

void read_object() {
    QORCPU_PUSHB(reads == 0);
    if (reads++ > 0) return;
    QOR_MAP *in;
    int32_t status;
    MAP_GET_MAP_BY_NAME_C(&in, "IN", &status);
    QOR_GEOMETRY from = 0, to = 0, line = 0, rand = 0, area = 0;
    GEOM_CREATE_POINT(&from, 0, 0, GEOM_NO_HEIGHT);
    GEOM_CREATE_POINT(&to, 1, 2, 3);
    GEOM_CREATE_LINE(&line, from, 0, 0, 0, 0, to);
    GEOM_CREATE_RAND(&rand, line);
    GEOM_CREATE_AREA(&area, rand);
    GEOM_REMOVE(&from);
    GEOM_REMOVE(&rand);
    put(in, "POINT", to);
    put(in, "LINE", line);
    put(in, "AREA", area);
}

// Notes the type that a parameter method delivers, NULL or not.
void note(const char *method) {
    QORCPU_DO_METHOD_BY_NAME_C("QORRUN", method);
    QOR_OBJECT *object = QOR_NIL;
    QORCPU_POP_OBJ(&object);
    const bool defined = OBJ_object_value_is_defined(object);
    got.push_back(defined ? std::to_string(BTYP_get_geometry_type(object)) : "NULL");
    OBJ_remove_object(&object);
}

void take_geometries() {
    for (const char *method : {"GET_PPARAM", "GET_LPARAM", "GET_APARAM", "GET_LPARAM", "GET_APARAM", "GET_PPARAM"})
        note(method);
}

TEST(Rule_geometry, each_kind_goes_to_its_own_method) {
    const std::string folder = testing::TempDir();
    const std::string script = folder + "rule_geometry.qor";
    std::ofstream(script) << "MAP INPUT_SOURCES\n  S => SRC\nEND_MAP\n"
                             "MAP INOUT\n  S => TAKE_6,IN.POINT,IN.LINE,IN.AREA,IN.AREA,IN.LINE,IN.LINE\nEND_MAP\n"
                             "TRUE MESSAGE.SET_SILENT QORRUN.RUN1 POP\n";
    QORPROC_INIT();
    int32_t status;
    CLASS_CREATE_METHOD_C("PROCEDURES", "SRC_OPEN", open_source, 1, 0, 'P', "", &status);
    CLASS_CREATE_METHOD_C("PROCEDURES", "SRC_READ_OBJECT", read_object, 0, 1, 'P', "", &status);
    CLASS_CREATE_METHOD_C("PROCEDURES", "SRC_CLOSE", close_source, 0, 0, 'P', "", &status);
    CLASS_CREATE_METHOD_C("PROCEDURES", "TAKE_6", take_geometries, 0, 0, 'P', "", &status);
    const char *arguments[] = {"qor", script.c_str(), "-cgi", "-temp_dir", folder.c_str()};
    OPTION_LOAD_OPTIONS(5, arguments);
    EXPECT_EQ(QORPROC_START(), 0);
    EXPECT_EQ(got, (std::vector<std::string>{"0", "1", "3", "NULL", "NULL", "NULL"}));
    QORPROC_TERMINATE();
    std::remove(script.c_str());
}

} // namespace
