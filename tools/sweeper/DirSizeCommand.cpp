// sweeper dirsize PATH: the allocated size of the regular files below PATH.
#include "Command.h"
#include "Output.h"

#include "disk/OMFolderExtractor.h"
#include "platform/ByteCountFormatter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace sweeper {
namespace {

int runDirSize(const std::string& path, const Globals& globals) {
    struct stat st {};
    if (Core::getFileInfo(path.c_str(), &st) != 0) throw CommandError("cannot read " + path + ": " + std::strerror(errno));
    int32_t error = 0;
    int64_t size = Core::GetDirectorySize(path.c_str(), nullptr, &error);
    if (globals.json) {
        printJson({{"path", path}, {"size", size}, {"error", error}});
        return 0;
    }
    std::printf("%lld\t%s\t%s\n", static_cast<long long>(size), platform::formatByteCount(size).c_str(),
                path.c_str());
    if (error != 0) std::fprintf(stderr, "sweeper: some entries could not be read: %s\n", std::strerror(error));
    return 0;
}

const CommandRegistration registration{
    {"dirsize"}, "Sum the allocated sizes of the regular files below a path",
    [](CLI::App& cmd, Globals& globals) -> Action {
        auto path = std::make_shared<std::string>();
        cmd.add_option("PATH", *path, "The folder or file")->required();
        return [path, &globals] { return runDirSize(*path, globals); };
    }};

}  // namespace
}  // namespace sweeper
