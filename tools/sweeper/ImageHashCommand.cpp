// sweeper imagehash FILE...: the perceptual hashes and the original date of
// pictures, as the duplicate search computes them to find similar photos.
#include "Command.h"
#include "Output.h"

#include "dff/image/ImageFiles.h"
#include "platform/Strings.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace sweeper {
namespace {

// Paths are bytes; JSON wants UTF-8, so a name that isn't is shown with its
// odd bytes replaced rather than failing the whole document.
std::string jsonSafe(const std::string& text) {
    if (platform::isValidUTF8(text)) return text;
    std::string out;
    for (unsigned char c : text) out += c < 0x80 ? std::string(1, char(c)) : std::string("\xEF\xBF\xBD");
    return out;
}

CommandRegistration reg{{"imagehash"}, "Hash pictures as the search for similar photos does",
                        [](CLI::App& cmd, Globals& globals) {
    auto files = std::make_shared<std::vector<std::string>>();
    cmd.add_option("FILE", *files, "Picture files")->required();
    return [files, &globals] {
        nlohmann::ordered_json images = nlohmann::ordered_json::array();
        bool failed = false;
        for (const std::string& file : *files) {
            nlohmann::ordered_json entry{{"path", jsonSafe(file)}};
            try {
                dff::ImageHashValue hash = dff::hashImage(file);
                entry["aHash"] = hash.aHash.hex();
                entry["dHash"] = hash.dHash.hex();
                entry["date"] = hash.date;
                if (!globals.json)
                    std::printf("%s\n  aHash %s\n  dHash %s\n  date  %s\n", file.c_str(), hash.aHash.hex().c_str(),
                                hash.dHash.hex().c_str(), hash.date.empty() ? "(none)" : hash.date.c_str());
            } catch (const std::runtime_error& e) {
                failed = true;
                entry["error"] = e.what();
                if (!globals.json) std::printf("%s\n  error %s\n", file.c_str(), e.what());
            }
            images.push_back(std::move(entry));
        }
        if (globals.json) printJson(nlohmann::ordered_json{{"images", std::move(images)}});
        // Every file is reported either way; the status tells a script that
        // some did not decode.
        return failed ? 1 : 0;
    };
}};

}  // namespace
}  // namespace sweeper
