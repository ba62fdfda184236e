// Objects: counts, copies, releases, values in place, new types.
#include <gtest/gtest.h>

#include <string>

#include "kernel_environment.hpp"
#include "qor/qor.h"
#include "texts.hpp"

namespace {

std::string shown(QOR_OBJECT *object) {
    return text_by([object](STRNG *s) { OBJ_to_display_string(object, s); });
}

TEST(Object, CountsReferencesAndKeepsIdentity) {
    QOR_OBJECT *a = nullptr;
    QOR_OBJECT *b = nullptr;
    BTYP_create_int(&a, 5);
    OBJ_create_object_ref(a, &b);
    EXPECT_EQ(shown(a), "int(5) refs:2");
    OBJ_copy_object(a, &a);
    EXPECT_EQ(shown(a), "int(5) refs:2") << "a copy onto itself changes nothing";
    OBJ_remove_object(&b);
    EXPECT_EQ(b, nullptr);
    EXPECT_EQ(shown(a), "int(5) refs:1");
    OBJ_set_null(a);
    OBJ_move_object_ref(&a, &b);
    EXPECT_EQ(a, nullptr);
    EXPECT_EQ(shown(b), "int(NULL) refs:1");
    OBJ_remove_object(&b);
}

TEST(Object, CountStopsAtTheTop) {
    static QOR_OBJECT *a = nullptr; // stays reachable: nothing frees it any more
    BTYP_create_int(&a, 1);
    for (int i = 0; i < 0x800010; ++i) {
        QOR_OBJECT *more = nullptr;
        OBJ_create_object_ref(a, &more);
    }
    EXPECT_EQ(shown(a), "int(1) refs:8388607");
    QOR_OBJECT *one = a;
    OBJ_remove_object(&one);
    EXPECT_EQ(shown(a), "int(1) refs:8388607") << "an object whose count is full is never freed";
}

TEST(Object, ValuesInPlace) {
    QOR_OBJECT *string = nullptr;
    QOR_OBJECT *number = nullptr;
    BTYP_create_string_c(&string, "a text that is longer than a record");
    BTYP_create_int(&number, 7);
    OBJ_copy_value(string, number);
    EXPECT_EQ(shown(string), "int(7) refs:1");
    // The record was made for a string; it goes as what it is now.
    OBJ_remove_object(&string);

    BTYP_create_string_c(&string, "x");
    STRNG own;
    BTYP_read_string_ref(string, &own);
    BTYP_write_string(string, own);
    EXPECT_EQ(shown(string), "string(x) refs:1") << "writing a string's own text";
    QOR_OBJECT *map = nullptr;
    QOR_MAP *handle = nullptr;
    MAP_CREATE_NONAME(&handle);
    BTYP_create_map_ref(&map, handle);
    MAP_INSERT_OBJECT_C(handle, "inside", number);
    QOR_OBJECT *inside = nullptr;
    int32_t status = 0;
    MAP_MAP_OBJECT_REF_C(handle, "inside", &inside, &status);
    OBJ_copy_value(map, inside);
    EXPECT_EQ(shown(map), "int(7) refs:1") << "overwritten by a part of itself";
    for (QOR_OBJECT **v : {&string, &number, &map, &inside}) OBJ_remove_object(v);
}

TEST(Object, DeepNestingIsReleasedWithoutRecursion) {
    QOR_OBJECT *outer = nullptr;
    BTYP_create_list(&outer);
    for (int i = 0; i < 1000000; ++i) {
        QOR_OBJECT *next = nullptr;
        BTYP_create_list(&next);
        BTYP_append_to_list(next, outer);
        OBJ_move_object_ref(&next, &outer);
    }
    OBJ_remove_object(&outer);
}

struct Counter_type {
    static inline int32_t id = -1;
    static inline int alive = 0;
    static void init(void *value) { *static_cast<int **>(value) = nullptr; }
    static void remove(void *value) {
        int **v = static_cast<int **>(value);
        if (*v) --alive;
        delete *v;
        *v = nullptr;
    }
    static void copy(const void *source, void *target) {
        *static_cast<int **>(target) = new int(**static_cast<int *const *>(source));
        ++alive;
    }
    static void index(void *value, STRNG, QOR_OBJECT **variable, int32_t *status) {
        BTYP_create_int(variable, ++**static_cast<int **>(value));
        *status = 1;
    }
};

TEST(Object, ANewTypeWorksThroughItsSlots) {
    OBJ_create_type(&Counter_type::id, "counter");
    ASSERT_GE(Counter_type::id, 15);
    OBJ_set_initvalue_proc(Counter_type::id, Counter_type::init);
    OBJ_set_removevalue_proc(Counter_type::id, Counter_type::remove);
    OBJ_set_copyvalue_proc(Counter_type::id, Counter_type::copy);
    OBJ_set_index_proc(Counter_type::id, Counter_type::index);
    QOR_OBJECT *a = nullptr;
    OBJ_create_object(&a, Counter_type::id);
    const int start = 40;
    const int *source = &start;
    OBJ_set_object_value(a, &source);
    EXPECT_EQ(shown(a), "counter(\?\?\?) refs:1");
    EXPECT_EQ(Counter_type::alive, 1);

    // A path's binding holds no reference: what the slot made for a name goes
    // with its last user, and the name is looked up anew.
    MAP_INSERT_OBJECT_REF_C(MAP_ROOT(), "COUNTING", a);
    for (const char *expected : {"int(41) refs:1", "int(42) refs:1"}) {
        QOR_OBJECT *found = nullptr;
        int32_t status = 0;
        OBJ_get_object_ref_by_name(text("COUNTING.NEXT"), &found, &status);
        ASSERT_EQ(status, 1);
        EXPECT_EQ(shown(found), expected);
        OBJ_remove_object(&found);
    }
    int32_t status = 0;
    MAP_REMOVE_OBJECT_C(MAP_ROOT(), "COUNTING", &status);
    OBJ_remove_object(&a);
    EXPECT_EQ(Counter_type::alive, 0);

    // Only ids below 32 fit an object record.
    int32_t id = 0;
    for (int i = 0; i < 40; ++i) {
        id = -1;
        OBJ_create_type(&id, "filler");
    }
    EXPECT_EQ(id, -1);
}

TEST(ObjectDeathTest, MisuseOutsideOfARunEndsTheProcess) {
    QOR_OBJECT *a = nullptr;
    BTYP_create_undef_int(&a);
    int32_t value;
    EXPECT_EXIT(BTYP_read_int(a, &value), testing::ExitedWithCode(1), "");
    double real;
    EXPECT_EXIT(BTYP_read_real(a, &real), testing::ExitedWithCode(1), "");
    EXPECT_EXIT(OBJ_clear_object(a), testing::ExitedWithCode(1), "");
    OBJ_remove_object(&a);
}

} // namespace
