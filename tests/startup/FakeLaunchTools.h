#pragma once
// Fake "/usr/bin/id" and "/bin/launchctl" under a test root, and the root's
// system version. The fake launchctl prints the text given to
// setDisabledOutput() for print-disabled, and answers enable and disable by
// appending a line for the label to that text, as the real one records the
// change. Every call of either tool is logged, one line each ("id -u",
// "launchctl disable user/501/x"), for tests that check what ran.

#include "support/TempDir.h"

#include "platform/PropertyList.h"

#include <sys/stat.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace testing_support {

class FakeLaunchTools {
public:
    explicit FakeLaunchTools(std::string root, std::string uid = "501") : _root(std::move(root)) {
        writeTool("/usr/bin/id", "echo \"id $*\" >> '" + callsPath() + "'\necho " + uid + "\n");
        writeLaunchctl();
        setSystemVersion("14.2.1");
        setDisabledOutput("");
    }

    // What "launchctl print-disabled" prints from now on.
    void setDisabledOutput(const std::string& text) { writeFile(disabledPath(), text); }

    // "ProductVersion" of the root's SystemVersion.plist.
    void setSystemVersion(const std::string& productVersion) {
        platform::PlistValue plist(platform::PlistValue::Dictionary{{"ProductVersion", productVersion}});
        writeFile(_root + "/System/Library/CoreServices/SystemVersion.plist", platform::toXmlPropertyList(plist));
    }

    void removeLaunchctl() { std::remove((_root + "/bin/launchctl").c_str()); }

    // The calls so far, oldest first.
    std::vector<std::string> calls() const {
        std::vector<std::string> lines;
        std::istringstream in(readFile(callsPath()));
        for (std::string line; std::getline(in, line);) lines.push_back(line);
        return lines;
    }
    void clearCalls() const { writeFile(callsPath(), ""); }

private:
    std::string callsPath() const { return _root + "/tool-calls.log"; }
    std::string disabledPath() const { return _root + "/launchctl-disabled.txt"; }

    void writeTool(const std::string& systemPath, const std::string& body) {
        const std::string path = _root + systemPath;
        writeFile(path, "#!/bin/sh\n" + body);
        ::chmod(path.c_str(), 0755);
    }

    // Changes are recorded with the word pair of current systems.
    void writeLaunchctl() {
        writeTool("/bin/launchctl",
                  "echo \"launchctl $*\" >> '" + callsPath() + "'\n"
                  "case \"$1\" in\n"
                  "  print-disabled) cat '" + disabledPath() + "' ;;\n"
                  "  enable) printf '\\t\"%s\" => enabled\\n' \"${2#user/*/}\" >> '" + disabledPath() + "' ;;\n"
                  "  disable) printf '\\t\"%s\" => disabled\\n' \"${2#user/*/}\" >> '" + disabledPath() + "' ;;\n"
                  "esac\n");
    }

    std::string _root;
};

}  // namespace testing_support
