#include "dff/Duplicate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <set>
#include <vector>

namespace {

using Index = dff::Duplicate<long long, int>;
using Node = Index::Node;

int depth(const Node* node) { return node ? 1 + std::max(depth(node->left), depth(node->right)) : 0; }

std::vector<long long> walkKeys(const Index& index) {
    std::vector<long long> keys;
    for (auto it = index.begin(); !it.atEnd(); ++it) keys.push_back(it->key);
    return keys;
}

class DuplicateShapes : public ::testing::TestWithParam<const char*> {};

TEST_P(DuplicateShapes, StaysBalancedAndKeepsEveryKey) {
    std::vector<long long> keys(2000);
    std::iota(keys.begin(), keys.end(), 0);
    std::string order = GetParam();
    if (order == "descending") std::reverse(keys.begin(), keys.end());
    if (order == "random") std::shuffle(keys.begin(), keys.end(), std::mt19937(42));
    if (order == "sawtooth")
        std::stable_sort(keys.begin(), keys.end(), [](long long a, long long b) { return a % 7 < b % 7; });

    Index index;
    for (size_t i = 0; i < keys.size(); ++i) index.add(keys[i], int(i));
    // Balanced whatever the order of arrival: at most 2 log2(n + 1) deep.
    EXPECT_LE(depth(index.root), 2 * 11);

    std::vector<long long> seen = walkKeys(index);
    std::sort(seen.begin(), seen.end());
    std::vector<long long> expected(keys);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(seen, expected);
}

INSTANTIATE_TEST_SUITE_P(Orders, DuplicateShapes, ::testing::Values("ascending", "descending", "random", "sawtooth"));

TEST(Duplicate, ValuesUnderOneKeyKeepArrivalOrderAndChangeNoShape) {
    Index index;
    for (long long key : {50, 20, 80, 10, 30}) index.add(key, 0);
    std::vector<long long> before = walkKeys(index);
    Node* root = index.root;
    for (int i = 1; i <= 100; ++i) index.add(30, i);
    EXPECT_EQ(index.root, root);
    EXPECT_EQ(walkKeys(index), before);

    auto it = index.begin();
    while (it->key != 30) ++it;
    ASSERT_EQ(it->values.size(), 101u);
    for (int i = 0; i <= 100; ++i) EXPECT_EQ(it->values[size_t(i)], i);
}

TEST(Duplicate, EmptyTreeBeginsAtTheEnd) {
    Index index;
    EXPECT_TRUE(index.begin().atEnd());
    EXPECT_TRUE(index.begin() == index.end());
    int visits = 0;
    for (auto& node : index) visits += int(node.values.size());
    EXPECT_EQ(visits, 0);
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
