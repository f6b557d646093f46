#include "Core/rules/AESHelper.h"
#include "Core/rules/DecodableGroup.h"
#include "Core/rules/DecodableRule.h"
#include "Core/rules/ResourceError.h"
#include "Core/rules/Resources.h"
#include "Core/rules/RuleManager.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <string>

using namespace Core;
using testing_support::TempDir;

namespace {

std::string fromHex(std::string_view hex) {
    std::string out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
    return out;
}

// Made with: printf 'caches: {cache: [Lib/Caches]}\n' |
//   openssl enc -aes-128-cbc -K 5a712e48616e74343833393135373236 -iv 37333036313438323539303433313732
const std::string kKnownPlain = "caches: {cache: [Lib/Caches]}\n";
const std::string kKnownCipher = fromHex("5e7b9906401dd7d28f9d46201c864aef54f91180632c3c65d9225df0aeb63650");

std::string errorOf(std::string_view text) {
    try {
        decodeRuleDocument(text, "doc.yaml");
    } catch (const ResourceError& e) {
        EXPECT_EQ(e.file(), "doc.yaml");
        return e.what();
    }
    ADD_FAILURE() << "decoded without error: " << text;
    return {};
}

}  // namespace

TEST(AESHelper, MatchesAKnownVectorBothWays) {
    EXPECT_EQ(AESHelper::shared().encrypt(kKnownPlain), kKnownCipher);
    EXPECT_EQ(AESHelper::shared().decrypt(kKnownCipher), kKnownPlain);
}

TEST(AESHelper, RejectsDamagedCipherText) {
    EXPECT_FALSE(AESHelper::shared().decrypt(kKnownCipher.substr(0, 20)));  // not whole blocks
    std::string damaged = kKnownCipher;
    damaged.back() ^= 0x5a;  // breaks the padding
    EXPECT_FALSE(AESHelper::shared().decrypt(damaged));
    EXPECT_EQ(AESHelper::shared().decrypt(*AESHelper::shared().encrypt("")), "");
}

TEST(ResourceOpening, InvalidUTF8GivesEmptyTextAndNULsAreRemoved) {
    auto invalid = AESHelper::shared().encrypt("ok \xC3\x28 bad");
    EXPECT_EQ(decipherResourceText(*invalid), "");
    auto withNULs = AESHelper::shared().encrypt(std::string("a\0b\0\0c", 6));
    EXPECT_EQ(decipherResourceText(*withNULs), "abc");
    EXPECT_FALSE(decipherResourceText("plain text, not enciphered"));
}

TEST(ResourceOpening, FailuresNameTheFileAndTheCause) {
    TempDir dir;
    testing_support::writeFile(dir / "plain.txt", "not enciphered at all");
    try {
        openEncipheredResource(dir / "plain.txt");
        FAIL();
    } catch (const ResourceError& e) {
        EXPECT_EQ(e.file(), dir / "plain.txt");
        EXPECT_NE(std::string(e.what()).find("decipher"), std::string::npos);
    }
    EXPECT_THROW(openEncipheredResource(dir / "missing.txt"), ResourceError);

    testing_support::ScopedLayout scope("/", dir.str());
    scope.setResources(dir.str());
    try {
        requireResource("ruleInfo", "txt");
        FAIL();
    } catch (const ResourceError& e) {
        EXPECT_EQ(e.file(), "ruleInfo.txt");
        EXPECT_NE(std::string(e.what()).find(dir.str()), std::string::npos);
    }
}

TEST(RuleDocument, DecodesFieldsAndKeepsAbsentOnesAbsent) {
    auto doc = decodeRuleDocument(R"(
"com.example.Notes":
  ids: ["com.example.Notes.helper", 42]
  organization: Example Labs
  caches:
    cache: ["Lib/Caches/com.example.Notes"]
    log: []
"*":
  support:
"@": ~
)",
                                  "doc");
    ASSERT_EQ(doc.size(), 3u);
    const DecodableRule& notes = doc[0].second;
    EXPECT_EQ(doc[0].first, "com.example.Notes");
    EXPECT_EQ(*notes.ids, (std::vector<std::string>{"com.example.Notes.helper", "42"}));
    EXPECT_EQ(notes.organization, "Example Labs");
    ASSERT_TRUE(notes.caches);
    ASSERT_EQ(notes.caches->size(), 2u);
    EXPECT_EQ((*notes.caches)[1].first, "log");
    EXPECT_TRUE((*notes.caches)[1].second.empty());
    EXPECT_FALSE(notes.logs);
    EXPECT_FALSE(doc[1].second.support);  // a null value is an absent one
    EXPECT_FALSE(doc[2].second.ids);
}

TEST(RuleDocument, WrongTypeNamesKeyAndField) {
    std::string e = errorOf("\"com.x\":\n  organization: [a, b]\n");
    EXPECT_NE(e.find("key \"com.x\""), std::string::npos) << e;
    EXPECT_NE(e.find("field \"organization\""), std::string::npos) << e;
    EXPECT_NE(e.find("line 2, column 17"), std::string::npos) << e;

    e = errorOf("\"com.y\":\n  caches:\n    cache: \"Lib/Caches/y\"\n");
    EXPECT_NE(e.find("key \"com.y\", field \"caches.cache\""), std::string::npos) << e;

    e = errorOf("\"com.z\":\n  ids: {a: b}\n");
    EXPECT_NE(e.find("field \"ids\""), std::string::npos) << e;

    e = errorOf("\"com.w\":\n  logs: [\"Lib/Logs/w\"]\n");
    EXPECT_NE(e.find("field \"logs\""), std::string::npos) << e;

    e = errorOf("\"com.v\": [1, 2]\n");
    EXPECT_NE(e.find("key \"com.v\""), std::string::npos) << e;
}

TEST(RuleDocument, SyntaxErrorNamesLineAndColumn) {
    std::string e = errorOf("\"*\":\n  caches:\n    cache: [\"Lib/Caches/**\"\n  logs: {\n");
    EXPECT_NE(e.find("doc.yaml: line "), std::string::npos) << e;
    EXPECT_NE(e.find(", column "), std::string::npos) << e;
}

TEST(RuleDocument, EmptyOrNonMappingDocumentIsAnError) {
    EXPECT_NE(errorOf("").find("empty"), std::string::npos);
    EXPECT_NE(errorOf("- a\n- b\n").find("not a mapping"), std::string::npos);
}

TEST(GroupDocument, DecodesListsAndMappingsOfEntries) {
    auto list = decodeGroupDocument("- name: Adobe\n  domain: com.adobe.\n  ids: [a, b]\n- ids: [c]\n", "v.yaml");
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].name, "Adobe");
    EXPECT_EQ(list[0].domain, "com.adobe.");
    EXPECT_EQ(list[0].ids->size(), 2u);
    EXPECT_FALSE(list[1].name);

    auto map = decodeGroupDocument("first: {name: A}\nsecond: {name: B}\n", "g.yaml");
    ASSERT_EQ(map.size(), 2u);
    EXPECT_EQ(map[1].name, "B");

    EXPECT_TRUE(decodeGroupDocument("", "g.yaml").empty());
    EXPECT_THROW(decodeGroupDocument("- name: [x]\n", "g.yaml"), ResourceError);
}

TEST(ShippedResources, RuleDocumentDecipheresAndBuilds) {
    std::string path = std::string(CORE_TEST_RESOURCES_DIR) + "/ruleInfo.txt";
    auto doc = decodeRuleDocument(openEncipheredResource(path), path);
    auto summary = RuleManager::summarize(doc);
    EXPECT_TRUE(summary.base && summary.black && summary.system);
    EXPECT_GE(summary.bundleIDs, 40u);
    EXPECT_GE(summary.patterns, 3u);
    platform::Layout layout;
    RuleManager manager(doc, layout, path);
    EXPECT_EQ(manager.extraInfo("com.google.Chrome").organization, CaseInsensitiveString("Google"));
}
