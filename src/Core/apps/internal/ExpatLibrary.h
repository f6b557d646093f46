#pragma once
// ExpatLibrary: the XML parser, opened on first use rather than linked; only
// the uninstall scripts document is XML.
//
// Threading: sharedExpatLibrary may be called from any thread; the table is
// read-only and never freed. The library is never closed.
//
//   if (const auto* expat = Core::internal::sharedExpatLibrary()) expat->XML_ParserCreate("UTF-8");

#include "platform/SharedLibrary.h"

#include <expat.h>

namespace Core::internal {

#define CORE_EXPAT_FUNCTIONS(X)        \
    X(XML_ParserCreate)                \
    X(XML_ParserFree)                  \
    X(XML_SetUserData)                 \
    X(XML_SetElementHandler)           \
    X(XML_SetCharacterDataHandler)     \
    X(XML_Parse)                       \
    X(XML_GetErrorCode)                \
    X(XML_ErrorString)                 \
    X(XML_GetCurrentLineNumber)        \
    X(XML_GetCurrentColumnNumber)

struct ExpatLibrary {
    CORE_EXPAT_FUNCTIONS(CORE_FUNCTION_FIELD)
};

// The table, loaded on the first call; null when the library or one of its
// functions is missing, which goes to platform::log once.
const ExpatLibrary* sharedExpatLibrary();

}  // namespace Core::internal
