// Maps for a host: positions, the default, limits; much at once against a model.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "kernel_environment.hpp"
#include "qor/qor.h"
#include "texts.hpp"

namespace {

class Map : public testing::Test {
  protected:
    Map() { MAP_CREATE_NONAME(&map); }
    ~Map() override { MAP_REMOVE(&map); }

    void put(const std::string &key, int32_t value) { MAP_INSERT_IVALUE(map, text(key), value); }

    int32_t get(const std::string &key) {
        QOR_OBJECT *object = nullptr;
        int32_t status = 0;
        MAP_MAP_OBJECT_REF(map, text(key), &object, &status);
        if (!status) return -1;
        int32_t value;
        BTYP_read_int(object, &value);
        OBJ_remove_object(&object);
        return value;
    }

    bool remove(const std::string &key) {
        int32_t status = 0;
        MAP_REMOVE_OBJECT(map, text(key), &status);
        return status;
    }

    // The next key, "-" at the end.
    std::string next() {
        QOR_OBJECT *object = nullptr;
        int32_t status = 0;
        const std::string key = text_by([&](STRNG *k) { MAP_READ_OBJECT_REF(&map, k, &object, &status); });
        OBJ_remove_object(&object);
        return status ? key : "-";
    }

    std::string keys() {
        std::string all;
        MAP_RESET_READ(&map);
        for (std::string key = next(); key != "-"; key = next()) all += key + " ";
        return all;
    }

    QOR_MAP *map = nullptr;
};

TEST_F(Map, PositionsAndBranches) {
    EXPECT_EQ(next(), "-") << "a new map must be reset before it is read";
    for (const char *key : {"A", "ABCD", "ABXY", "AB"}) put(key, 6);
    EXPECT_EQ(get("ABC"), -1) << "a branch is no key";
    uint32_t position = 0;
    int32_t status = 0;
    MAP_GET_KEY_POS(map, text("ABXY"), &position, &status);
    EXPECT_EQ(position, 3u);
    MAP_GET_KEY_POS(map, text("none"), &position, &status);
    EXPECT_EQ(position, 5u);
    EXPECT_EQ(status, 0);
}

TEST_F(Map, DefaultAnswersAndIsNoEntry) {
    put("DEFAULT", 9);
    put("x", 1);
    EXPECT_EQ(get("anything"), 9);
    EXPECT_EQ(MAP_TEST_KEY_C(map, "DEFAULT"), 0);
    EXPECT_EQ(keys(), "x ");
    QOR_MAP *copy = nullptr;
    MAP_COPY(map, &copy);
    std::swap(map, copy);
    EXPECT_EQ(get("anything"), 9);
    EXPECT_EQ(next(), "-") << "the cursor of a copy stands at the end";
    MAP_CLEAR(&map);
    EXPECT_EQ(get("anything"), -1);
    MAP_FILL(copy, &map);
    EXPECT_EQ(get("x"), 1);
    MAP_REMOVE(&copy);
}

TEST_F(Map, KeyLimits) {
    const std::string longest(1024, 'k');
    put(longest, 1);
    put(std::string(1023, 'k'), 2);
    EXPECT_EQ(get(longest), 1);
    put("", 3);
    EXPECT_EQ(get(""), -1);
    put(std::string("a\0b", 3), 4);
    put("a", 5);
    EXPECT_EQ(get(std::string("a\0b", 3)), 4);
    EXPECT_EXIT(put(std::string(1025, 'k'), 1), testing::ExitedWithCode(1), "");
}

// Against the standard library's map and an order kept apart, over enough keys
// that nodes split, tables of children grow and generations end.
TEST_F(Map, AgreesWithAModel) {
    std::mt19937 random(1);
    std::map<std::string, int32_t> model;
    std::vector<std::string> order;
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < 20000; ++i) {
            std::string key;
            for (uint32_t n = 1 + random() % 6; n > 0; --n) key += static_cast<char>(random() % (round % 2 ? 256 : 4));
            if (random() % 4 == 0) {
                EXPECT_EQ(remove(key), model.erase(key) == 1);
                std::erase(order, key);
            } else {
                put(key, i);
                if (model.insert_or_assign(key, i).second) order.push_back(key);
            }
            ASSERT_EQ(get(key), model.count(key) ? model[key] : -1);
            if (order.size() > 600 && round < 2) {
                MAP_CLEAR(&map);
                model.clear();
                order.clear();
            } else if (order.size() > 600) {
                // All but a few go one by one, in any order.
                std::shuffle(order.begin(), order.end(), random);
                for (; order.size() > 20; order.pop_back()) ASSERT_TRUE(remove(order.back()));
                std::erase_if(model,
                              [&order](const auto &e) { return !std::count(order.begin(), order.end(), e.first); });
                order.clear();
                MAP_RESET_READ(&map);
                for (std::string rest = next(); rest != "-"; rest = next()) order.push_back(rest);
                ASSERT_EQ(order.size(), model.size());
            }
        }
        MAP_RESET_READ(&map);
        for (const std::string &key : order) ASSERT_EQ(next(), key);
        ASSERT_EQ(next(), "-");
    }
}

// Ever new keys, of which few are there at once: the places of removed keys do not
// pile up, and a read in the middle goes on.
TEST_F(Map, RemovedKeysGiveTheirStorageBack) {
    for (int32_t i = 0; i < 100; ++i) put("key" + std::to_string(i), i);
    const int64_t size = Storage_GET_SIZE();
    MAP_RESET_READ(&map);
    for (int32_t i = 100; i < 100'000; ++i) {
        put("key" + std::to_string(i), i);
        ASSERT_TRUE(remove("key" + std::to_string(i - 100)));
        if (i % 50 == 0) {
            ASSERT_EQ(next(), "key" + std::to_string(i - 99));
        }
    }
    EXPECT_LT(Storage_GET_SIZE(), size + 100'000);
    EXPECT_EQ(get("key99900"), 99'900);
    EXPECT_EQ(get("key99899"), -1);
}

TEST_F(Map, NamesComeFromTheRoot) {
    QOR_MAP *named = nullptr;
    MAP_CREATE_C(&named, "NAMED_FOR_TEST");
    EXPECT_EQ(text_by([&](STRNG *name) { MAP_GET_NAME(named, name); }), "NAMED_FOR_TEST");
    EXPECT_EQ(text_by([&](STRNG *name) { MAP_GET_NAME(map, name); }), "NONAME");
    int32_t status = 0;
    MAP_REMOVE_OBJECT_C(MAP_ROOT(), "NAMED_FOR_TEST", &status);
    EXPECT_EQ(status, 1);
}

} // namespace
