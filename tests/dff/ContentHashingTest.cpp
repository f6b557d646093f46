#include "dff/FileReader.h"
#include "dff/MD5.h"
#include "dff/PackageHasher.h"
#include "dff/SymlinkHasher.h"

#include "support/FaultyReads.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using testing_support::TempDir;
using testing_support::writeFile;

dff::HashValue digestOf(const std::string& bytes) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_md5(), nullptr);
    unsigned char first[16];
    std::copy(digest, digest + 16, first);
    dff::HashValue value;
    value.setBytes(first);
    return value;
}

dff::HashValue hashOf(const dff::MD5& md5) {
    dff::HashValue value;
    md5.hashValue(value);
    return value;
}

// Content whose every block differs, so a misplaced block changes the digest.
std::string patterned(size_t size) {
    std::string text(size, '\0');
    for (size_t i = 0; i < size; ++i) text[i] = char((i * 7 + i / 4096) & 0xFF);
    return text;
}

TEST(MD5, DigestBetweenUpdatesCoversAllBytesSoFarAndLeavesStateUsable) {
    dff::MD5 md5;
    EXPECT_EQ(hashOf(md5), digestOf(""));
    md5.updateMD5("hello ", 6);
    EXPECT_EQ(hashOf(md5), digestOf("hello "));
    EXPECT_EQ(hashOf(md5), digestOf("hello "));  // taking it twice changes nothing
    md5.updateMD5("world", 5);
    EXPECT_EQ(hashOf(md5), digestOf("hello world"));
    md5.reset();
    md5.updateMD5("x", 1);
    EXPECT_EQ(hashOf(md5), digestOf("x"));
}

// Every length around the block edges, fed in uneven pieces, on each side of
// the 56-byte mark where the length has to go into an extra block.
TEST(MD5, AgreesWithTheReferenceForEveryLengthAndSplit) {
    std::string text = patterned(300);
    for (size_t length = 0; length <= text.size(); ++length) {
        for (size_t piece : {1u, 7u, 63u, 64u, 65u, 300u}) {
            dff::MD5 md5;
            for (size_t at = 0; at < length; at += piece)
                md5.updateMD5(text.data() + at, (long long)std::min(piece, length - at));
            ASSERT_EQ(hashOf(md5), digestOf(text.substr(0, length))) << length << " bytes in pieces of " << piece;
        }
    }
}

// Lanes fed together must give what each state would give on its own, also
// when they stand at different offsets or take different lengths and so
// can't run in step.
TEST(MD5, StatesFedTogetherGiveTheirOwnDigests) {
    std::vector<std::string> texts;
    for (int lane = 0; lane < 5; ++lane) {
        std::string text = patterned(5000 + size_t(lane));
        text[size_t(lane) * 3] ^= 0x5A;  // each lane its own content
        texts.push_back(text);
    }
    struct Case {
        std::vector<size_t> start;   // bytes fed alone first, per lane
        std::vector<size_t> length;  // then this many, together
    };
    const Case cases[] = {
        {{0, 0, 0}, {4096, 4096, 4096}},
        {{10, 10}, {4000, 4000}},
        {{0, 5, 0}, {130, 130, 130}},     // one lane out of step
        {{3, 3, 3, 3, 3}, {64, 64, 64, 64, 64}},  // more lanes than go at once
        {{0, 0, 0}, {100, 0, 37}},
    };
    for (const Case& c : cases) {
        size_t count = c.start.size();
        std::vector<dff::MD5> states(count);
        std::vector<dff::MD5*> pointers;
        std::vector<const unsigned char*> data;
        for (size_t lane = 0; lane < count; ++lane) {
            states[lane].updateMD5(texts[lane].data(), (long long)c.start[lane]);
            pointers.push_back(&states[lane]);
            data.push_back(reinterpret_cast<const unsigned char*>(texts[lane].data()) + c.start[lane]);
        }
        dff::MD5::updateTogether(pointers.data(), data.data(), c.length.data(), count);
        for (size_t lane = 0; lane < count; ++lane)
            EXPECT_EQ(hashOf(states[lane]), digestOf(texts[lane].substr(0, c.start[lane] + c.length[lane])))
                << "lane " << lane << " of " << count;
    }
}

struct ReadSteps {
    std::vector<long long> bytesPerStep;
    std::string content;
    bool complete = false;
};

ReadSteps readAll(dff::FileReader& reader, int maxSteps = 10) {
    ReadSteps steps;
    while (!steps.complete && maxSteps-- > 0) {
        long long before = reader.position;
        steps.complete = reader.read([&](const char* bytes, long long length) {
            EXPECT_LE(length, dff::FileReader::kBlockSize);
            steps.content.append(bytes, size_t(length));
        });
        steps.bytesPerStep.push_back(reader.position - before);
    }
    return steps;
}

// The first step reads one block alone (most files part there); later
// steps read up to the budget of a thousand blocks.
TEST(FileReader, ReadsOneBlockFirstThenUpToAThousand) {
    TempDir dir;
    for (auto [size, expectedSteps] : {std::pair{size_t(4096), std::vector<long long>{4096}},
                                       {size_t(4097), {4096, 1}},
                                       {size_t(4096001), {4096, 4091905}},
                                       {size_t(4100097), {4096, 4096000, 1}}}) {
        std::string content = patterned(size);
        writeFile(dir / "f", content);
        dff::Path path(dir / "f");
        dff::FileReader reader(&path, (long long)size);
        ReadSteps steps = readAll(reader);
        EXPECT_TRUE(steps.complete && reader.isCompleted()) << size;
        EXPECT_EQ(steps.bytesPerStep, expectedSteps) << size;
        EXPECT_TRUE(steps.content == content) << size;
    }
}

// A file that grew after the walk is read up to its listed size; an empty
// one is never even opened.
TEST(FileReader, ReadsOnlyUpToTheExpectedSize) {
    TempDir dir;
    writeFile(dir / "grown", patterned(5000));
    dff::Path path(dir / "grown"), missing(dir / "missing");
    dff::FileReader reader(&path, 4500), empty(&missing, 0);
    EXPECT_TRUE(readAll(reader).content == patterned(4500));
    EXPECT_EQ(readAll(empty).bytesPerStep, std::vector<long long>{0});
}

// The error of a step: its words, and the errno where there is one.
std::pair<std::string, int> failureOf(dff::FileReader& reader) {
    try {
        for (int step = 0; step < 100; ++step)
            if (reader.read([](const char*, long long) {})) return {"complete", 0};
    } catch (const dff::ReadError& e) {
        return {e.what(), e.errorNumber()};
    } catch (const std::runtime_error& e) {
        return {e.what(), -1};
    }
    return {"endless", 0};
}

// Short reads and interruptions deliver every byte in the usual steps; an
// I/O error mid-file, a file that shrank and a missing one fail with their
// own words.
TEST(FileReader, ShortReadsAndInterruptionsAreReadThroughAndFailuresHaveTheirOwnWords) {
    TempDir dir;
    std::string content = patterned(10000);
    writeFile(dir / "f", content);
    dff::Path path(dir / "f");
    testing_support::ScopedFaultyReads faults({.chunk = 1000, .interrupt = true, .failAt = 6000, .failIn = "/f"});

    dff::FileReader reader(&path, 6000);  // ends where the faults begin
    ReadSteps steps = readAll(reader);
    EXPECT_TRUE(steps.complete);
    EXPECT_EQ(steps.bytesPerStep, (std::vector<long long>{4096, 1904}));
    EXPECT_TRUE(steps.content == content.substr(0, 6000));
    EXPECT_GT(testing_support::ScopedFaultyReads::calledTimes(), 12);

    dff::FileReader failing(&path, 10000);
    EXPECT_EQ(failureOf(failing), std::make_pair(std::string("Failed to read file"), EIO));

    writeFile(dir / "shrunk", patterned(10000));
    dff::Path shrunkPath(dir / "shrunk"), gone(dir / "gone");
    dff::FileReader shrunk(&shrunkPath, 10000), missing(&gone, 10);
    EXPECT_FALSE(shrunk.read([](const char*, long long) {}));
    ::truncate(shrunkPath.cStr(), 4096);
    EXPECT_EQ(failureOf(shrunk).first, "Failed to read file") << "a file that shrank must not read as complete";
    EXPECT_EQ(failureOf(missing).first, "Failed to open file");
}

// Readers taken together keep their own steps and failures: a missing file
// fails at once, one that shrank fails when it runs out, the others go on.
TEST(FileReader, ReadersTakenTogetherKeepTheirOwnStepsAndFailures) {
    TempDir dir;
    const size_t size = 4096 + 200000;
    writeFile(dir / "a", patterned(size));
    writeFile(dir / "b", patterned(size));
    dff::Path a(dir / "a"), b(dir / "b"), gone(dir / "gone");
    dff::FileReader ra(&a, (long long)size), rb(&b, (long long)size), rgone(&gone, (long long)size);
    dff::FileReader* readers[] = {&ra, &rb, &rgone};
    std::string seen[3];
    auto collect = [&](const unsigned char* const* data, const size_t* lengths) {
        EXPECT_EQ(lengths[0], lengths[1]) << "equal files are read in step";
        EXPECT_EQ(lengths[2], 0u);
        for (int i = 0; i < 3; ++i) seen[i].append(reinterpret_cast<const char*>(data[i]), lengths[i]);
    };
    dff::FileReader::Outcome outcomes[3];
    dff::FileReader::ReadBuffers buffers;
    dff::FileReader::readTogether(buffers, readers, 3, outcomes, collect);
    EXPECT_EQ(ra.position, 4096);
    EXPECT_EQ(rb.position, 4096);
    EXPECT_FALSE(outcomes[0].complete);
    EXPECT_EQ(outcomes[0].error, nullptr);
    EXPECT_STREQ(outcomes[2].error, "Failed to open file");
    EXPECT_EQ(outcomes[2].errorNumber, ENOENT);

    ::truncate(b.cStr(), 50000);
    dff::FileReader::readTogether(buffers, readers, 2, outcomes, [&](const unsigned char* const* data, const size_t* lengths) {
        for (int i = 0; i < 2; ++i) seen[i].append(reinterpret_cast<const char*>(data[i]), lengths[i]);
    });
    EXPECT_TRUE(outcomes[0].complete);
    EXPECT_TRUE(seen[0] == patterned(size));
    EXPECT_STREQ(outcomes[1].error, "Failed to read file");
    EXPECT_EQ(outcomes[1].errorNumber, 0) << "shorter, not failed";
}

TEST(SymlinkHasher, DigestIsThatOfTheTargetText) {
    TempDir dir;
    std::string link = dir / "l";
    ASSERT_EQ(::symlink("some/target", link.c_str()), 0);
    dff::Symlink symlink(dff::Path(link), 11, nullptr);
    dff::HashValue digest;
    ASSERT_TRUE(dff::hashSymlink(symlink, digest));
    EXPECT_EQ(digest, digestOf("some/target"));

    symlink.size = 12;  // the link changed since it was looked at
    EXPECT_FALSE(dff::hashSymlink(symlink, digest));

    // A target of 1024 bytes does not fit the buffer with room to spare.
    std::string longLink = dir / "long";
    std::string target(1024, 'a');
    ASSERT_EQ(::symlink(target.c_str(), longLink.c_str()), 0);
    EXPECT_FALSE(dff::hashSymlink(dff::Symlink(dff::Path(longLink), 1024, nullptr), digest));
    std::string fits = dir / "fits";
    ASSERT_EQ(::symlink(std::string(1023, 'a').c_str(), fits.c_str()), 0);
    EXPECT_TRUE(dff::hashSymlink(dff::Symlink(dff::Path(fits), 1023, nullptr), digest));
}

// Builds a package tree: a few files (one empty, one hidden, one larger than
// a block), a subfolder and a link.
void buildPackage(const std::string& root, const std::string& fileName = "b.txt") {
    writeFile(root + "/a.txt", "alpha");
    writeFile(root + "/" + fileName, patterned(9000));
    writeFile(root + "/empty", "");
    writeFile(root + "/.DS_Store", "finder");
    writeFile(root + "/Contents/Info.plist", "<plist/>");
    std::filesystem::create_directories(root + "/Contents/Empty");
    ASSERT_EQ(::symlink("Contents/Info.plist", (root + "/link").c_str()), 0);
}

struct HashRun {
    dff::HashValue digest;
    std::vector<dff::HashValue> steps;  // the digest after each step
};

HashRun hashPackage(dff::Package& package, long long minSize = 0) {
    dff::PackageHasher hasher(&package, minSize);
    HashRun run;
    bool complete = false;
    for (int guard = 0; !complete && guard < 100; ++guard) {
        complete = hasher.update();
        run.steps.push_back(hashOf(hasher.md5));
    }
    EXPECT_TRUE(complete);
    run.digest = run.steps.back();
    return run;
}

TEST(PackageHasher, EqualPackagesHashEqualAndAddUpTheirSize) {
    TempDir dir;
    buildPackage(dir / "One.app");
    buildPackage(dir / "Two.app");
    dff::Package one(dff::Path(dir / "One.app"), nullptr), two(dff::Path(dir / "Two.app"), nullptr);
    HashRun a = hashPackage(one), b = hashPackage(two);
    EXPECT_EQ(a.digest, b.digest);
    EXPECT_EQ(a.steps, b.steps);
    // Files and links count, hidden ones included; folders don't.
    long long expected = 5 + 9000 + 0 + 6 + 8 + (long long)std::string("Contents/Info.plist").size();
    EXPECT_EQ(one.size, expected);
    EXPECT_EQ(two.size, expected);

    // A renamed file, or one byte changed deep in a file, parts them.
    buildPackage(dir / "Renamed.app", "c.txt");
    buildPackage(dir / "Changed.app");
    std::string changed = patterned(9000);
    changed[8999] ^= 1;
    writeFile(dir / "Changed.app/b.txt", changed);
    dff::Package renamed(dff::Path(dir / "Renamed.app"), nullptr), edited(dff::Path(dir / "Changed.app"), nullptr);
    EXPECT_NE(hashPackage(renamed).digest, a.digest);
    EXPECT_NE(hashPackage(edited).digest, a.digest);
}

TEST(PackageHasher, FailuresHaveTheirOwnWords) {
    TempDir dir;
    auto errorOf = [](dff::Package& package, long long minSize) -> std::string {
        dff::PackageHasher hasher(&package, minSize);
        try {
            for (int i = 0; i < 100; ++i)
                if (hasher.update()) return "complete";
        } catch (const std::runtime_error& e) {
            return e.what();
        }
        return "endless";
    };

    writeFile(dir / "Small.app/a", "1234");
    dff::Package small(dff::Path(dir / "Small.app"), nullptr);
    EXPECT_EQ(errorOf(small, 5), "Too small");
    small.size = 0;
    EXPECT_EQ(errorOf(small, 4), "complete");

    dff::Package missing(dff::Path(dir / "Missing.app"), nullptr);
    EXPECT_EQ(errorOf(missing, 0), "Failed to open directory");

    std::filesystem::create_directories(dir / "Fifo.app");
    ASSERT_EQ(::mkfifo((dir / "Fifo.app/pipe").c_str(), 0600), 0);
    dff::Package fifo(dff::Path(dir / "Fifo.app"), nullptr);
    EXPECT_EQ(errorOf(fifo, 0), "Unknown file type");

    std::filesystem::create_directories(dir / "Link.app");
    std::string longLink = dir / "Link.app/l";
    ASSERT_EQ(::symlink(std::string(1500, 'a').c_str(), longLink.c_str()), 0);
    dff::Package link(dff::Path(dir / "Link.app"), nullptr);
    EXPECT_EQ(errorOf(link, 0), "Failed to read symbolic link");
}

}  // namespace
