// What scripts can not reach of lists: positions kept by a host.
#include "kernel_environment.hpp"

#include <string>

#include "qor/btyp.h"
#include "qor/obj.h"

namespace {

// A list of the ints 1 to 4.
class List : public testing::Test {
  protected:
    List() {
        BTYP_create_list(&list);
        for (int32_t i = 1; i <= 4; ++i) {
            BTYP_create_int(&element, i);
            BTYP_append_to_list(list, element);
        }
    }
    ~List() override {
        OBJ_remove_object(&list);
        OBJ_remove_object(&element);
    }

    // The next element; 0 at the end.
    int32_t next() {
        int32_t status, value = 0;
        BTYP_read_next_listobj_ref(list, &element, &status);
        if (status) BTYP_read_int(element, &value);
        return value;
    }
    std::string all() {
        std::string text;
        BTYP_reset_read_list(list);
        while (const int32_t value = next()) text += std::to_string(value);
        return text;
    }

    QOR_OBJECT *list = nullptr;
    QOR_OBJECT *element = nullptr;
};

TEST_F(List, PositionIsTheElementBeforeTheOneJustRead) {
    EXPECT_EQ(next(), 1);
    // Nothing stands before the first element, so this position starts anew.
    QOR_LIST_NODE *at_first = BTYP_get_read_position(list);
    EXPECT_EQ(at_first, nullptr);
    EXPECT_EQ(next(), 2);
    EXPECT_EQ(next(), 3);
    QOR_LIST_NODE *at_third = BTYP_get_read_position(list);
    EXPECT_EQ(next(), 4);
    EXPECT_FALSE(BTYP_list_has_next(list));
    BTYP_restore_read_position(list, at_third);
    EXPECT_EQ(next(), 4);
    BTYP_restore_read_position(list, at_first);
    EXPECT_EQ(next(), 1);
    BTYP_restore_read_position(list, at_third);
    BTYP_create_int(&element, 9);
    BTYP_insert_list_before(list, element);
    EXPECT_EQ(all(), "12934");
}

TEST_F(List, PositionOfARemovedNodeStartsAnew) {
    next();
    next();
    QOR_LIST_NODE *position = BTYP_get_read_position(list); // the node of 1
    BTYP_remove_first(list);
    BTYP_restore_read_position(list, position);
    EXPECT_EQ(next(), 2);

    // The node may serve another list by now.
    QOR_OBJECT *other = nullptr;
    BTYP_create_list(&other);
    BTYP_append_to_list(other, element);
    BTYP_restore_read_position(list, position);
    EXPECT_EQ(next(), 2);
    OBJ_remove_object(&other);
}

TEST_F(List, CopyStartsAtItsFirstElement) {
    next();
    QOR_OBJECT *copy = nullptr;
    OBJ_copy_object(list, &copy);
    std::swap(list, copy);
    EXPECT_EQ(next(), 1);
    BTYP_write_int(element, 5);
    std::swap(list, copy);
    EXPECT_EQ(all(), "1234");
    OBJ_remove_object(&copy);
}

TEST_F(List, WhatIsTakenOffMayReplaceTheList) {
    for (int i = 0; i < 3; ++i) BTYP_remove_first(list);
    EXPECT_FALSE(BTYP_list_is_empty(list));
    int32_t status, value;
    BTYP_pop_first(list, &list, &status);
    BTYP_read_int(list, &value);
    EXPECT_EQ(value, 4);
}

TEST_F(List, MisuseAborts) {
    QOR_OBJECT *undefined = nullptr;
    BTYP_create_undef_list(&undefined);
    EXPECT_ABORT(BTYP_insert_list_after(list, element), "use READ_NEXT first\n");
    EXPECT_EQ(all(), "1234");
    EXPECT_ABORT(BTYP_insert_list_before(list, element), "insert impossible after end of list\n");
    EXPECT_ABORT(BTYP_append_to_list(element, list), "OBJ_assert_type: int\\(4\\) refs:2 is not of type list");
    EXPECT_ABORT(BTYP_reset_read_list(undefined), "value is NULL\n");
    OBJ_remove_object(&undefined);
}

} // namespace
