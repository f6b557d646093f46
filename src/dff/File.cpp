#include "dff/File.h"

#include "dff/PhotoLibrary.h"
#include "platform/FileTypes.h"

#include <mutex>
#include <typeinfo>
#include <unordered_set>

namespace dff {

namespace {

// One string per identifier for the whole process: a search may ask the type
// of most of its files, and a few dozen identifiers cover them all.
const std::string* internedType(std::string identifier) {
    static std::mutex mutex;
    static std::unordered_set<std::string> types;
    std::lock_guard lock(mutex);
    return &*types.insert(std::move(identifier)).first;
}

}  // namespace

const std::string* File::getType() {
    if (type == nullptr) {
        // What the walk or a photo library listed as a file needs no second
        // look at the disk; anything else is looked at first.
        bool regular = typeid(*this) == typeid(File) || typeid(*this) == typeid(Photo);
        auto identifier = regular ? platform::typeIdentifierOfRegularFile(path.str())
                                  : platform::typeIdentifier(path.str());
        if (!identifier) return nullptr;
        type = internedType(std::move(*identifier));
    }
    return type;
}

int fileTypeId(const File& file) {
    const std::type_info& kind = typeid(file);
    if (kind == typeid(File)) return 0;
    if (kind == typeid(Directory)) return 1;
    if (kind == typeid(Symlink)) return 2;
    return 3;
}

}  // namespace dff
