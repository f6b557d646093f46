#pragma once
// UninstallScriptsManager: the table of uninstall scripts, read by a
// streaming XML parse (expat) of the deciphered "scripts.txt":
//
//   <scripts>
//     <app id="com.example.Sync">
//       <uninstaller>...runs in place...</uninstaller>
//       <script useAdminPrivileges="true">...goes to the helper...</script>
//     </app>
//   </scripts>
//
// "app" with an "id" starts an entry (without one, the entry in hand is
// dropped); "script" and "uninstaller" set the entry's useAdminPrivileges to
// whether their attribute "useAdminPrivileges" is exactly "true" (the last
// such element decides) and gather the characters up to their end, those of
// any element inside included; the end of "app" puts the entry into the
// table, a later entry with the same id replacing an earlier one. A document
// that does not parse leaves the table empty.
//
// Threading: immutable after construction; shared() is built once, on first
// use, and lives as long as the process. Read from any thread.
//
//   const auto& table = Core::UninstallScriptsManager::shared().uninstallScripts();
//   if (auto it = table.find("com.example.Sync"); it != table.end()) use(it->second.scriptString);

#include "Core/apps/UninstallScript.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace Core {

class UninstallScriptsManager {
public:
    using Table = std::unordered_map<CaseInsensitiveString, UninstallScript>;

    // The process-wide table from the resources folder's "scripts.txt"; a
    // missing, undecipherable or unparsable document gives an empty table
    // and a line in the log.
    static const UninstallScriptsManager& shared();

    // An empty table.
    UninstallScriptsManager() = default;
    // Parses the plain XML text of a document.
    explicit UninstallScriptsManager(std::string_view xml);
    // Reads, deciphers and parses the enciphered document at `path`. A
    // missing file gives an empty table without error.
    static UninstallScriptsManager fromEncipheredFile(const std::string& path);

    const Table& uninstallScripts() const { return _uninstallScripts; }
    // Why the document gave no table ("line 3, column 7: mismatched tag"),
    // or nothing when it was read.
    const std::optional<std::string>& error() const { return _error; }

private:
    friend struct UninstallScriptsParser;
    void didStartElement(std::string_view name, const char** attributes);
    void foundCharacters(std::string_view characters);
    void didEndElement(std::string_view name);

    std::optional<UninstallScript> _uninstallScript;
    std::string _currentScriptString;
    bool _isUninstaller = false;
    Table _uninstallScripts;
    std::optional<std::string> _error;
};

}  // namespace Core
