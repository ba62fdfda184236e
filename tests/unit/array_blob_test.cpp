#include "kernel_environment.hpp"

#include <cmath>
#include <string>

#include "qor/array.h"
#include "qor/blob.h"
#include "qor/btyp.h"
#include "qor/obj.h"
#include "qor/storage.h"
#include "qor/strng.h"
#include "texts.hpp"

namespace {

TEST(Array, SlotKeepsItsObject) {
    const int64_t storage = Storage_GET_SIZE();
    QOR_OBJECT *array = nullptr, *element = nullptr;
    const auto shown = [&] { return text_by([&](STRNG *s) { OBJ_to_display_string(element, s); }); };
    BTYP_create_array(&array, 3);
    // What is read by reference is the slot's own object, from the first read on.
    BTYP_read_array_element_ref(array, 2, &element);
    BTYP_write_int(element, 7);
    OBJ_remove_object(&element);
    BTYP_read_array_element(array, 2, &element);
    EXPECT_EQ(shown(), "int(7) refs:1");

    QOR_ARRAY *borrowed;
    BTYP_read_array_ref(array, &borrowed);
    ARRAY_WRITE_OBJECT(borrowed, 1, element);
    ARRAY_WRITE_OBJECT_REF(borrowed, 0, element);
    ARRAY_WRITE_OBJECT_REF(borrowed, 0, element);
    EXPECT_EQ(shown(), "int(7) refs:2");
    // Writing back what only the slot holds does not lose it.
    QOR_OBJECT *held = element;
    OBJ_remove_object(&element);
    ARRAY_WRITE_OBJECT_REF(borrowed, 0, held);
    BTYP_read_array_element_ref(array, 0, &element);
    EXPECT_EQ(shown(), "int(7) refs:2");

    int32_t status;
    EXPECT_ABORT(BTYP_read_array_element(array, 3, &element), "invalid ARRAY-Index\n");
    OBJ_remove_object(&array);
    OBJ_create_object(&array, BTYP_array_tidf());
    EXPECT_ABORT(OBJ_index_object(array, ::text("0"), &element, &status), "invalid ARRAY-Index\n");
    EXPECT_ABORT(BTYP_read_array_element(array, 0, &element), "value is NULL\n");
    OBJ_remove_object(&array);
    OBJ_remove_object(&element);
    EXPECT_EQ(Storage_GET_SIZE(), storage);
}

class Blob : public testing::Test {
  protected:
    Blob() { BLOB_CREATE(&blob, nullptr, 0); }
    ~Blob() override {
        BLOB_REMOVE(&blob);
        STRNG_REMOVE(&text);
        EXPECT_EQ(Storage_GET_SIZE(), storage);
    }
    void from_hex(const char *digits, int32_t expected = 1) {
        BLOB_REMOVE(&blob);
        EXPECT_EQ(BLOB_HEXSTRING_TO_BLOB(::text(digits), &blob), expected);
    }
    std::string hex() {
        BLOB_TO_HEXSTRING(blob, &text);
        return {reinterpret_cast<char *>(text.data), text.length};
    }
    std::string display() {
        testing::internal::CaptureStdout();
        BLOB_DISPLAY(blob);
        fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }

    const int64_t storage = Storage_GET_SIZE();
    QOR_BLOB *blob = nullptr;
    STRNG text{0, 0, nullptr};
};

TEST_F(Blob, GrowsBySteps) {
    for (int i = 0; i < 501; ++i) BLOB_WRITE_BYTE(blob, static_cast<uint8_t>(i));
    const std::string shown = display();
    EXPECT_EQ(shown.find("BLOB   allocated size  =1000\n   data      size  =501\n"), 0u);
    EXPECT_NE(shown.find("\n   496. [F0 F1 F2 F3 F4         ]\nEND_BLOB\n"), std::string::npos);
    // One long text takes as many steps as it needs at once.
    BLOB_WRITE_STRING(blob, ::text(std::string(1499, 'x')));
    EXPECT_EQ(display().find("BLOB   allocated size  =2500\n   data      size  =2001\n"), 0u);
}

TEST_F(Blob, ValuesBeyondTheEndReadAsZero) {
    uint8_t byte = 0x55;
    int32_t int32;
    double real;
    from_hex("FFFFFFFFFFFFFFFF01");
    EXPECT_EQ(BLOB_READ_INDEX_SET(blob, 7), 1);
    EXPECT_EQ(BLOB_READ_CARD32(blob, &int32), 1);
    EXPECT_EQ(int32, 0x1ff);
    // A failed read leaves its result alone.
    EXPECT_EQ(BLOB_READ_BYTE(blob, &byte), 0);
    EXPECT_EQ(byte, 0x55);
    BLOB_READ_INIT(blob);
    EXPECT_EQ(BLOB_READ_REAL32(blob, &real), 1);
    EXPECT_TRUE(std::isnan(real));
    // A string without its zero ends with the blob.
    EXPECT_EQ(BLOB_READ_STRING(blob, &text), 1);
    EXPECT_EQ(text.length, 5u);
    EXPECT_EQ(BLOB_READ_INDEX_SET(blob, UINT32_MAX), 0);
    EXPECT_EQ(BLOB_READ_STRING(blob, &text), 0);
    EXPECT_EQ(text.length, 0u);
    EXPECT_EQ(BLOB_READ_JUMP(blob, 1), 1);
}

TEST_F(Blob, BadHexadecimalTextKeepsWhatCameBefore) {
    const char *const cases[][2] = {{"0aFfG0", "0AFF"}, {"12:", "12"}, {"0", ""},  {"@0", ""},
                                    {"`0", ""},         {"/0", ""},    {"p0", ""}, {"\xc1\x41", ""}};
    for (const auto &[bad, kept] : cases) {
        from_hex(bad, 0);
        EXPECT_EQ(hex(), kept);
    }
}

TEST_F(Blob, BytesAsTheyAre) {
    from_hex("010203");
    const uint8_t *borrowed;
    BLOB_READ_BYTES_REF(blob, &borrowed);
    EXPECT_EQ(borrowed[2], 3);
    uint8_t bytes[3];
    BLOB_READ_BYTES(blob, bytes);
    bytes[0] = 9;
    BLOB_WRITE_BYTES(blob, bytes);
    BLOB_WRITE_STRING(blob, ::text({"a\0b", 3}));
    BLOB_WRITE_REAL32(blob, 1e300);
    EXPECT_EQ(hex(), "090203610062000000807F");
}

TEST_F(Blob, NilAndUndefined) {
    int32_t value;
    uint32_t size = 5;
    EXPECT_EQ(BLOB_READ_INT32(nullptr, &value), 0);
    EXPECT_ABORT(BLOB_WRITE_BYTE(nullptr, 0), "blob is QOR_NIL\n");
    QOR_OBJECT *object = nullptr;
    BTYP_create_undef_blob(&object);
    BTYP_size_blob(object, &size);
    EXPECT_EQ(size, 0u);
    OBJ_remove_object(&object);
    BLOB_REMOVE(&blob);
    EXPECT_EQ(display(), "BLOBEND_BLOB\n");
}

} // namespace
