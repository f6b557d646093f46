#include "Core/apps/UninstallScriptsManager.h"

#include "Core/apps/internal/OptionalResource.h"
#include "Core/rules/ResourceError.h"
#include "Core/rules/Resources.h"
#include "platform/ResourceBundle.h"
#include "platform/SharedLibrary.h"

#include <expat.h>

#include <algorithm>
#include <memory>
#include <sys/stat.h>

namespace Core {

namespace {

const char* attribute(const char** attributes, std::string_view name) {
    for (size_t i = 0; attributes != nullptr && attributes[i] != nullptr; i += 2)
        if (name == attributes[i]) return attributes[i + 1];
    return nullptr;
}

// The XML parser is opened on first use rather than linked: the uninstall
// scripts document is the only XML read.
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

struct ParserDeleter {
    const ExpatLibrary* expat;
    void operator()(XML_Parser parser) const { expat->XML_ParserFree(parser); }
};

}  // namespace

// Expat's callbacks, forwarded to the manager's parser-delegate methods.
struct UninstallScriptsParser {
    static void start(void* data, const XML_Char* name, const XML_Char** attributes) {
        static_cast<UninstallScriptsManager*>(data)->didStartElement(name, attributes);
    }
    static void end(void* data, const XML_Char* name) {
        static_cast<UninstallScriptsManager*>(data)->didEndElement(name);
    }
    static void characters(void* data, const XML_Char* text, int length) {
        static_cast<UninstallScriptsManager*>(data)->foundCharacters(std::string_view(text, size_t(length)));
    }
};

UninstallScriptsManager::UninstallScriptsManager(std::string_view xml) {
    // The text is already UTF-8: the declaration's encoding is not obeyed.
    const ExpatLibrary* expat =
        CORE_SHARED_FUNCTION_TABLE(ExpatLibrary, CORE_EXPAT_FUNCTIONS, "libexpat.so.1", "XML parsing");
    if (expat == nullptr) {
        _error = "the XML parser is not available";
        return;
    }
    std::unique_ptr<XML_ParserStruct, ParserDeleter> parser(expat->XML_ParserCreate("UTF-8"), ParserDeleter{expat});
    if (!parser) {
        _error = "the XML parser could not be created";
        return;
    }
    expat->XML_SetUserData(parser.get(), this);
    expat->XML_SetElementHandler(parser.get(), &UninstallScriptsParser::start, &UninstallScriptsParser::end);
    expat->XML_SetCharacterDataHandler(parser.get(), &UninstallScriptsParser::characters);

    // Streamed in pieces, as expat takes at most INT_MAX bytes a call.
    constexpr size_t kPiece = 64 * 1024;
    size_t offset = 0;
    bool ok = true;
    do {
        const size_t length = std::min(kPiece, xml.size() - offset);
        const bool final = offset + length == xml.size();
        ok = expat->XML_Parse(parser.get(), xml.data() + offset, static_cast<int>(length), final) == XML_STATUS_OK;
        offset += length;
    } while (ok && offset < xml.size());
    if (!ok) {
        _error = "line " + std::to_string(expat->XML_GetCurrentLineNumber(parser.get())) + ", column " +
                 std::to_string(expat->XML_GetCurrentColumnNumber(parser.get()) + 1) + ": " +
                 expat->XML_ErrorString(expat->XML_GetErrorCode(parser.get()));
        _uninstallScripts.clear();
    }
    _uninstallScript.reset();
    _currentScriptString.clear();
    _isUninstaller = false;
}

void UninstallScriptsManager::didStartElement(std::string_view name, const char** attributes) {
    if (name == "app") {
        if (const char* id = attribute(attributes, "id")) {
            _uninstallScript = UninstallScript{CaseInsensitiveString(id), false, std::nullopt, std::nullopt};
        } else {
            _uninstallScript.reset();
        }
    } else if (name == "script" || name == "uninstaller") {
        if (_uninstallScript) {
            const char* admin = attribute(attributes, "useAdminPrivileges");
            _uninstallScript->useAdminPrivileges = admin != nullptr && std::string_view(admin) == "true";
        }
        _currentScriptString.clear();
        _isUninstaller = name == "uninstaller";
    }
}

void UninstallScriptsManager::foundCharacters(std::string_view characters) { _currentScriptString.append(characters); }

void UninstallScriptsManager::didEndElement(std::string_view name) {
    if (name == "script") {
        if (_uninstallScript) _uninstallScript->scriptString = _currentScriptString;
    } else if (name == "uninstaller") {
        if (_uninstallScript) _uninstallScript->uninstallerScript = _currentScriptString;
        _isUninstaller = false;
    } else if (name == "app") {
        if (_uninstallScript && _uninstallScript->id)
            _uninstallScripts.insert_or_assign(*_uninstallScript->id, std::move(*_uninstallScript));
        _uninstallScript.reset();
    }
}

UninstallScriptsManager UninstallScriptsManager::fromEncipheredFile(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return UninstallScriptsManager();
    UninstallScriptsManager failed;
    try {
        auto text = decipherResourceText(readResourceFile(path));
        if (!text) {
            failed._error = "does not decipher (not an enciphered document, or damaged)";
        } else if (text->empty()) {
            failed._error = "does not decipher to UTF-8 text";
        } else {
            return UninstallScriptsManager(*text);
        }
    } catch (const ResourceError& e) {
        failed._error = e.cause();
    }
    return failed;
}

const UninstallScriptsManager& UninstallScriptsManager::shared() {
    static const UninstallScriptsManager* instance = [] {
        auto path = platform::ResourceBundle::shared().pathForResource("scripts", "txt");
        if (!path) {
            internal::logResourceProblem("scripts.txt: not found in the resources folder", "no uninstall scripts");
            return new UninstallScriptsManager();
        }
        auto* manager = new UninstallScriptsManager(fromEncipheredFile(*path));
        if (manager->error()) internal::logResourceProblem("scripts.txt: " + *manager->error(), "no uninstall scripts");
        return manager;
    }();
    return *instance;
}

}  // namespace Core
