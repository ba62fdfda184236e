// The operations of tables that no script reaches.
#include "qor/table.h"

#include <string>

#include "kernel_environment.hpp"
#include "qor/array.h"
#include "qor/btyp.h"
#include "qor/map.h"
#include "qor/obj.h"
#include "texts.hpp"

namespace {

// A table with the fields A and B, and a map with a record for it.
class Table : public testing::Test {
  protected:
    Table() {
        BTYP_create_table(&object, text("A B"));
        BTYP_read_table_ref(object, &table);
        MAP_CREATE_NONAME(&map);
        MAP_INSERT_IVALUE_C(map, "A", 1);
        MAP_INSERT_IVALUE_C(map, "B", 2);
    }
    ~Table() override {
        MAP_REMOVE(&map);
        OBJ_remove_object(&object);
        OBJ_remove_object(&value);
    }
    int32_t read(const char *key, const char *field) {
        int32_t status, number = 0;
        TABLE_READ_OBJECT_REF(table, text(key), text(field), &value, &status);
        if (status) BTYP_read_int(value, &number);
        return number;
    }

    QOR_OBJECT *object = nullptr;
    QOR_OBJECT *value = nullptr;
    QOR_TABLE *table = nullptr;
    QOR_MAP *map = nullptr;
};

TEST_F(Table, ReadsOneValueByReference) {
    TABLE_WRITE_MAP(table, text("k"), map);
    EXPECT_EQ(read("k", "B"), 2);
    BTYP_write_int(value, 7); // the table's own object
    EXPECT_EQ(read("k", "B"), 7);
    EXPECT_EQ(read("other", "B"), 0);
    EXPECT_EQ(read("other", "no field"), 0) << "a missing key comes first";
    EXPECT_ABORT(read("k", "C"), "^C\nTABLE_READ_OBJECT_REF: invalid field name");
    EXPECT_EQ(BTYP_test_table_key(object, text("other")), 0);
    BTYP_write_table_map(object, text("DEFAULT"), map);
    EXPECT_EQ(BTYP_test_table_key(object, text("other")), 1);
    EXPECT_EQ(read("other", "A"), 1);
}

TEST_F(Table, FieldsOfAMapAndKeysOfTheReads) {
    QOR_TABLE *other = nullptr;
    TABLE_CREATE_BY_MAP(&other, map);
    OBJ_create_object(&value, BTYP_table_tidf());
    OBJ_set_object_value_ref(value, &other);
    TABLE_WRITE_MAP(other, text("one"), map);
    TABLE_WRITE_MAP(other, text("two"), map);
    STRNG key;
    STRNG_CREATE(&key);
    std::string keys;
    TABLE_RESET_READ(other);
    for (int32_t status = 1; status;) {
        TABLE_READ_NEXT_RECORD(other, &key, &map, &status);
        if (status) keys.append(reinterpret_cast<char *>(key.data), key.length) += ' ';
    }
    EXPECT_EQ(keys, "one two ");
    STRNG_REMOVE(&key);
    int32_t status;
    MAP_REMOVE_OBJECT_C(map, "B", &status);
    EXPECT_ABORT(TABLE_WRITE_MAP(other, text("k"), map), "^TABLE_WRITE_MAP: m has too few fields\n");
}

TEST_F(Table, NextRowReplacesTheVariable) {
    int32_t status;
    BTYP_create_mvtab_by_map(&object, map);
    BTYP_write_mvtab_map(object, text("k"), map);
    BTYP_reset_mvtab(object, text("k"));
    for (const bool there : {true, false}) {
        BTYP_read_next_mvtab(object, &value, &status);
        EXPECT_TRUE(status == there && (value != nullptr) == there);
    }
}

TEST_F(Table, RefusesNilAndOtherTypes) {
    int32_t status;
    EXPECT_ABORT(TABLE_READ_MAP(nullptr, text("k"), &map, &status), "TABLE_READ_MAP: table can not be QOR_NIL");
    TABLE_WRITE_MAP(table, text("k"), map);
    QOR_MAP *nil = nullptr;
    EXPECT_ABORT(TABLE_READ_MAP(table, text("k"), &nil, &status), "MAP is QOR_NIL");
    EXPECT_ABORT(BTYP_write_mvtab_map(object, text("k"), map), "is not of type mvtab");
}

} // namespace
