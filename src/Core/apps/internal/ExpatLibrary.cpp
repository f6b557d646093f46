#include "Core/apps/internal/ExpatLibrary.h"

#include <memory>

namespace Core::internal {

const ExpatLibrary* sharedExpatLibrary() {
    static const std::unique_ptr<const ExpatLibrary> shared =
        CORE_LOAD_FUNCTION_TABLE(ExpatLibrary, CORE_EXPAT_FUNCTIONS, "libexpat.so.1", "XML parsing");
    return shared.get();
}

}  // namespace Core::internal
