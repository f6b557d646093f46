#include "dff/Path.h"
#include "dff/internal/TextArena.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

// Paths of a search borrow the arena's bytes; anything copied out of the
// search must own its own, or it would outlive them.
TEST(Path, CopiesOfBorrowedPathsOwnTheirBytes) {
    std::vector<dff::Path> copies;
    {
        dff::internal::TextArena arena;
        std::vector<dff::Path> borrowed;
        // Enough texts to fill several blocks, and one too long to share one.
        for (int i = 0; i < 5000; ++i) {
            std::string text = "/search/folder/file" + std::to_string(i);
            borrowed.push_back(dff::Path::borrowing(arena.copy(text), text.size()));
        }
        std::string longText(40000, 'l');
        borrowed.push_back(dff::Path::borrowing(arena.copy(longText), longText.size()));
        EXPECT_EQ(borrowed[4999].view(), "/search/folder/file4999");
        EXPECT_EQ(borrowed.back().view(), longText);

        copies.push_back(borrowed[17]);
        dff::Path assigned("/elsewhere");
        assigned = borrowed[4998];
        copies.push_back(std::move(assigned));
        copies.push_back(borrowed[3] / "inside");
        arena.clear();
    }
    // Under the address sanitizer a borrowed byte read here fails the test.
    EXPECT_EQ(copies[0].view(), "/search/folder/file17");
    EXPECT_EQ(copies[1].view(), "/search/folder/file4998");
    EXPECT_EQ(copies[2].view(), "/search/folder/file3/inside");
}

}  // namespace
