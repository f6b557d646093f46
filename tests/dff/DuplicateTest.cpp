#include "dff/Duplicate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

namespace {

using Index = dff::Duplicate<long long, int>;

// The keys the walk visits (it goes by the tree, not by key), sorted.
std::vector<long long> walkKeys(const Index& index) {
    std::vector<long long> keys;
    for (auto it = index.begin(); !it.atEnd(); ++it) keys.push_back(it->key);
    std::sort(keys.begin(), keys.end());
    return keys;
}

// Whatever the order of arrival, the walk visits every key once; a rotation
// that loses or repeats a node shows here.
TEST(Duplicate, WalksEveryKeyOnceWhateverTheArrival) {
    std::vector<long long> keys(2000);
    std::iota(keys.begin(), keys.end(), 0);
    std::vector<long long> shuffled(keys);
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(42));
    for (const auto& order : {keys, std::vector<long long>(keys.rbegin(), keys.rend()), shuffled}) {
        Index index;
        for (size_t i = 0; i < order.size(); ++i) index.add(order[i], int(i));
        EXPECT_EQ(walkKeys(index), keys);
    }
}

TEST(Duplicate, ValuesUnderOneKeyKeepArrivalOrder) {
    Index index;
    for (long long key : {50, 20, 80, 10, 30}) index.add(key, 0);
    for (int i = 1; i <= 100; ++i) index.add(30, i);
    EXPECT_EQ(walkKeys(index), (std::vector<long long>{10, 20, 30, 50, 80}));
    auto it = index.begin();
    while (it->key != 30) ++it;
    ASSERT_EQ(it->values.size(), 101u);
    for (int i = 0; i <= 100; ++i) EXPECT_EQ(it->values[size_t(i)], i);
}

TEST(Duplicate, KeysThatAreNeitherLessNorGreaterShareANode) {
    // A key type whose order is weaker than equality, as image hashes have.
    struct Coarse {
        int fine;
        bool operator<(const Coarse& o) const { return fine / 10 < o.fine / 10; }
        bool operator>(const Coarse& o) const { return fine / 10 > o.fine / 10; }
    };
    dff::Duplicate<Coarse, int> index;
    index.add({11}, 1);
    index.add({19}, 2);
    index.add({25}, 3);
    int nodes = 0;
    for (auto it = index.begin(); !it.atEnd(); ++it) {
        ++nodes;
        if (it->key.fine == 11) {
            EXPECT_EQ(std::vector<int>(it->values.begin(), it->values.end()), (std::vector<int>{1, 2}));
        }
    }
    EXPECT_EQ(nodes, 2);
}

}  // namespace
