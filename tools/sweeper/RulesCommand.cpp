// sweeper rules ...: the rule document and its compiled match tree.
//   rules check [FILE]        decipher and decode a rule document
//   rules decrypt FILE        the deciphered text on standard output
//   rules encrypt FILE        the enciphered bytes of a plain file
//   rules tree [--junk]       the compiled forest
//   rules ids ID [--junk]     the matcher ids and extra info of one identifier
#include "Command.h"
#include "Output.h"
#include "RuleSource.h"

#include "Core/rules/AESHelper.h"
#include "Core/rules/AppFileRule.h"
#include "Core/rules/ResourceError.h"
#include "Core/rules/Resources.h"
#include "Core/rules/RuleManager.h"
#include "platform/Layout.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sweeper {
namespace {

using nlohmann::json;

void writeStdout(const std::string& bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size() || std::fflush(stdout) != 0)
        throw CommandError("cannot write to standard output");
}

json matcherJson(const Core::Matcher& m) {
    switch (m.matcherCase()) {
        case Core::Matcher::Case::string: return {{"string", m.name().origin()}};
        case Core::Matcher::Case::regex: return {{"regex", m.expression().pattern()}};
        case Core::Matcher::Case::any: return "any";
        case Core::Matcher::Case::id: return "id";
    }
    return nullptr;
}

std::string matcherText(const Core::Matcher& m) {
    switch (m.matcherCase()) {
        case Core::Matcher::Case::string: return "\"" + m.name().origin() + "\"";
        case Core::Matcher::Case::regex: return "regex " + m.expression().pattern();
        case Core::Matcher::Case::any: return "any";
        case Core::Matcher::Case::id: return "id";
    }
    return {};
}

json nodesJson(const std::vector<Core::MatcherNode>& nodes) {
    json out = json::array();
    for (const auto& node : nodes) {
        if (node.isDirectory()) {
            const auto& dir = *node.directory();
            out.push_back({{"node", "directory"},
                           {"id", dir.id},
                           {"matcher", matcherJson(dir.matcher)},
                           {"children", nodesJson(dir.children)}});
        } else {
            const auto& leaf = node.file();
            out.push_back({{"node", "file"},
                           {"id", leaf.id},
                           {"matcher", matcherJson(leaf.matcher)},
                           {"priority", leaf.priority},
                           {"kind", leaf.kind.rawValue()},
                           {"rule", ruleJson(leaf.ruleID)}});
        }
    }
    return out;
}

void printNodes(const std::vector<Core::MatcherNode>& nodes, int depth) {
    std::string indent(static_cast<size_t>(depth) * 2, ' ');
    for (const auto& node : nodes) {
        if (node.isDirectory()) {
            const auto& dir = *node.directory();
            std::printf("%s%s/  #%lld\n", indent.c_str(), matcherText(dir.matcher).c_str(),
                        static_cast<long long>(dir.id));
            printNodes(dir.children, depth + 1);
        } else {
            const auto& leaf = node.file();
            std::printf("%s%s  #%lld  priority %lld, %s, %s\n", indent.c_str(), matcherText(leaf.matcher).c_str(),
                        static_cast<long long>(leaf.id), static_cast<long long>(leaf.priority),
                        leaf.kind.rawValue().c_str(), ruleText(leaf.ruleID).c_str());
        }
    }
}

int runCheck(const Globals& g, const std::string& file) {
    std::string path = file.empty() ? Core::requireResource("ruleInfo", "txt") : file;
    std::string text = Core::openEncipheredResource(path);
    Core::RuleDocument document = Core::decodeRuleDocument(text, path);
    Core::RuleManager manager(document, platform::Layout::shared(), path);  // rejects keys that aren't allowed
    auto summary = Core::RuleManager::summarize(document);
    if (g.json) {
        printJson({{"entries", summary.entries},
                   {"bundleIDs", summary.bundleIDs},
                   {"patterns", summary.patterns},
                   {"base", summary.base},
                   {"black", summary.black},
                   {"system", summary.system}});
    } else {
        auto yesNo = [](bool b) { return b ? "yes" : "no"; };
        std::printf("%s: %zu entries: %zu bundle identifiers, %zu patterns; base rule: %s, black rule: %s, "
                    "system rule: %s\n",
                    path.c_str(), summary.entries, summary.bundleIDs, summary.patterns, yesNo(summary.base),
                    yesNo(summary.black), yesNo(summary.system));
    }
    return 0;
}

int runDecrypt(const std::string& file) {
    auto text = Core::decipherResourceText(readFileOrFail(file));
    if (!text) throw CommandError(file + ": does not decipher (not an enciphered document, or damaged)");
    writeStdout(*text);
    return 0;
}

int runEncrypt(const std::string& file) {
    auto bytes = Core::AESHelper::shared().encrypt(readFileOrFail(file));
    if (!bytes) throw CommandError("the cipher is not available");
    writeStdout(*bytes);
    return 0;
}

int runTree(const Globals& g, const std::string& doc, bool junk) {
    RuleSource source = loadRules(doc, junk);
    const auto& forest = source.tree->rules();
    if (g.json) {
        json roots = json::array();
        for (const auto& [root, nodes] : forest) roots.push_back({{"root", root.path()}, {"nodes", nodesJson(nodes)}});
        printJson({{"roots", roots}});
    } else {
        for (const auto& [root, nodes] : forest) {
            std::printf("%s\n", root.path().c_str());
            printNodes(nodes, 1);
        }
    }
    return 0;
}

int runIDs(const Globals& g, const std::string& doc, bool junk, const std::string& id) {
    RuleSource source = loadRules(doc, junk);
    auto idSet = source.tree->matcherIDs(id);
    std::vector<Core::MatcherID> matcherIDs(idSet.begin(), idSet.end());
    std::sort(matcherIDs.begin(), matcherIDs.end());
    auto info = source.manager->extraInfo(id);
    std::vector<std::string> extraIDs;
    for (const auto& extra : info.ids) extraIDs.push_back(extra.origin());
    std::sort(extraIDs.begin(), extraIDs.end());
    if (g.json) {
        json organization = info.organization ? json(info.organization->origin()) : json(nullptr);
        printJson({{"id", id}, {"matcherIDs", matcherIDs}, {"extraIDs", extraIDs}, {"organization", organization}});
    } else {
        std::printf("%s\n  matcher ids:", id.c_str());
        for (auto m : matcherIDs) std::printf(" %lld", static_cast<long long>(m));
        std::printf("\n  extra ids:");
        for (const auto& e : extraIDs) std::printf(" %s", e.c_str());
        std::printf("\n  organization: %s\n", info.organization ? info.organization->origin().c_str() : "(none)");
    }
    return 0;
}

CommandRegistration checkCommand{{"rules", "check"}, "Decipher and decode a rule document (default: the shipped one)",
                                 [](CLI::App& cmd, Globals& g) -> Action {
                                     auto file = std::make_shared<std::string>();
                                     cmd.add_option("FILE", *file, "An enciphered rule document");
                                     return [file, &g] { return runCheck(g, *file); };
                                 }};

CommandRegistration decryptCommand{{"rules", "decrypt"}, "Write the deciphered text of FILE to standard output",
                                   [](CLI::App& cmd, Globals&) -> Action {
                                       auto file = std::make_shared<std::string>();
                                       cmd.add_option("FILE", *file, "An enciphered document")->required();
                                       return [file] { return runDecrypt(*file); };
                                   }};

CommandRegistration encryptCommand{{"rules", "encrypt"}, "Write the enciphered bytes of FILE to standard output",
                                   [](CLI::App& cmd, Globals&) -> Action {
                                       auto file = std::make_shared<std::string>();
                                       cmd.add_option("FILE", *file, "A plain document")->required();
                                       return [file] { return runEncrypt(*file); };
                                   }};

struct TreeOptions {
    std::string doc;
    bool junk = false;
    std::string id;
};

void addTreeOptions(CLI::App& cmd, TreeOptions& o) {
    cmd.add_option("--doc", o.doc, "A plain YAML rule document to use instead of the shipped one");
    cmd.add_flag("--junk", o.junk, "The junk forest (caches and logs only)");
}

CommandRegistration treeCommand{{"rules", "tree"}, "Show the compiled match tree",
                                [](CLI::App& cmd, Globals& g) -> Action {
                                    auto o = std::make_shared<TreeOptions>();
                                    addTreeOptions(cmd, *o);
                                    return [o, &g] { return runTree(g, o->doc, o->junk); };
                                }};

CommandRegistration idsCommand{{"rules", "ids"}, "Matcher ids, further ids and organization of one identifier",
                               [](CLI::App& cmd, Globals& g) -> Action {
                                   auto o = std::make_shared<TreeOptions>();
                                   cmd.add_option("ID", o->id, "A bundle identifier")->required();
                                   addTreeOptions(cmd, *o);
                                   return [o, &g] { return runIDs(g, o->doc, o->junk, o->id); };
                               }};

}  // namespace
}  // namespace sweeper
