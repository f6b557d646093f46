#include "dff/File.h"

#include "platform/FileTypes.h"

#include <mutex>
#include <typeinfo>
#include <unordered_map>

namespace dff {

namespace {

// One shared string per identifier: a search may ask the type of most of its
// files, and a few dozen identifiers cover them all.
std::shared_ptr<const std::string> internedType(std::string identifier) {
    static std::mutex mutex;
    static std::unordered_map<std::string, std::shared_ptr<const std::string>> types;
    std::lock_guard lock(mutex);
    auto& entry = types[identifier];
    if (!entry) entry = std::make_shared<const std::string>(std::move(identifier));
    return entry;
}

}  // namespace

const std::string* File::getType() {
    if (!type) {
        auto identifier = platform::typeIdentifier(path.str());
        if (!identifier) return nullptr;
        type = internedType(std::move(*identifier));
    }
    return type.get();
}

int fileTypeId(const File& file) {
    const std::type_info& kind = typeid(file);
    if (kind == typeid(File)) return 0;
    if (kind == typeid(Directory)) return 1;
    if (kind == typeid(Symlink)) return 2;
    return 3;
}

}  // namespace dff
