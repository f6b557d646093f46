#include "dff/File.h"

#include "platform/FileTypes.h"

#include <typeinfo>

namespace dff {

const std::string* File::getType() {
    if (!type) {
        auto identifier = platform::typeIdentifier(path.str());
        if (!identifier) return nullptr;
        type = std::make_shared<const std::string>(std::move(*identifier));
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
