// sweeper photos LIBRARY: the photos of a photo library, read from its
// database as the duplicate search reads them, in the database's order.
#include "Command.h"
#include "Output.h"

#include "dff/PhotoLibraryReader.h"
#include "platform/ByteCountFormatter.h"
#include "platform/Layout.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace sweeper {
namespace {

CommandRegistration reg{{"photos"}, "List the photos of a photo library", [](CLI::App& cmd, Globals& globals) {
    auto library = std::make_shared<std::string>();
    cmd.add_option("LIBRARY", *library, "The photo library folder")->required();
    return [library, &globals] {
        std::error_code ec;
        std::string path = platform::trimTrailingSlashes(std::filesystem::absolute(*library, ec).lexically_normal().string());
        if (ec) path = *library;
        auto photos = dff::make<dff::PhotoLibrary>(dff::Path(path), nullptr);
        try {
            dff::PhotoLibraryReader::readPhotos(*photos);
        } catch (const std::runtime_error& e) {
            throw CommandError(std::string(e.what()) + ": " + path);
        }
        if (globals.json) {
            nlohmann::ordered_json list = nlohmann::ordered_json::array();
            for (const auto& photo : photos->photos)
                list.push_back(nlohmann::ordered_json{{"id", photo.id}, {"path", photo.path.str()}, {"size", photo.size}});
            printJson(nlohmann::json{{"photos", nlohmann::json(list)}});
        } else {
            long long total = 0;
            for (const auto& photo : photos->photos) {
                std::printf("%s  %12lld  %s\n", photo.id.c_str(), photo.size, photo.path.cStr());
                total += photo.size;
            }
            std::printf("%zu photos, %s\n", photos->photos.size(), platform::formatByteCount(total).c_str());
        }
        return 0;
    };
}};

}  // namespace
}  // namespace sweeper
