#include "platform/PropertyList.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>

namespace {

using platform::PlistValue;

// A binary list of `levels` arrays nested one in the next, written by hand
// so that no serializer's own limits shape it: object n is an array holding
// object n+1; the last is an empty array.
std::string nestedBinaryArrays(uint32_t levels, bool cycle = false) {
    std::string doc = "bplist00";
    std::vector<uint64_t> offsets;
    for (uint32_t n = 0; n < levels; ++n) {
        offsets.push_back(doc.size());
        const bool last = n + 1 == levels;
        if (last && !cycle) {
            doc += char(0xA0);
            continue;
        }
        doc += char(0xA1);
        uint32_t ref = last ? 0 : n + 1;  // the cycle leads back to the top
        for (int shift = 24; shift >= 0; shift -= 8) doc += char((ref >> shift) & 0xFF);
    }
    const uint64_t tableAt = doc.size();
    for (uint64_t offset : offsets)
        for (int shift = 24; shift >= 0; shift -= 8) doc += char((offset >> shift) & 0xFF);
    std::string trailer(32, '\0');
    trailer[6] = 4;  // offset size
    trailer[7] = 4;  // reference size
    for (int i = 0; i < 8; ++i) {
        trailer[8 + i] = char((uint64_t(levels) >> (56 - 8 * i)) & 0xFF);
        trailer[24 + i] = char((tableAt >> (56 - 8 * i)) & 0xFF);
    }
    return doc + trailer;
}

TEST(PropertyListTest, NestingIsBoundedInBothForms) {
    auto shallow = platform::parsePropertyList(nestedBinaryArrays(200));
    ASSERT_TRUE(shallow) << "a reasonable depth still parses";
    EXPECT_EQ(shallow->kind(), PlistValue::Kind::array);

    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(platform::parsePropertyList(nestedBinaryArrays(100000)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << "refused before the parser walks it";
    EXPECT_FALSE(platform::parsePropertyList(nestedBinaryArrays(3, true))) << "a cycle is refused";

    std::string xml = "<plist version=\"1.0\">";
    for (int i = 0; i < 300; ++i) xml += "<array>";
    for (int i = 0; i < 300; ++i) xml += "</array>";
    xml += "</plist>";
    EXPECT_FALSE(platform::parsePropertyList(xml));

    // Empty containers written as one tag, however many, open nothing.
    std::string flat = "<plist version=\"1.0\"><array>";
    for (int i = 0; i < 1000; ++i) flat += "<array/><dict/>";
    flat += "</array></plist>";
    auto parsed = platform::parsePropertyList(flat);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->array()->size(), 2000u);
}

TEST(PropertyListTest, FileReaderRefusesWhatIsNoRegularFile) {
    testing_support::TempDir dir;
    const std::string fifo = dir / "Info.plist";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_FALSE(platform::readPropertyListFile(fifo)) << "a FIFO must neither hang nor parse";
    EXPECT_FALSE(platform::readPropertyListFile(dir.str()));
}

}  // namespace
