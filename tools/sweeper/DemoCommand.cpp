// sweeper demo: a short tour of the library on the shipped resources. Each
// step is a function of its own that prints its part (text) or adds it to
// the JSON document.
#include "Command.h"
#include "Output.h"

#include "Core/rules/AppFileRule.h"
#include "Core/rules/Resources.h"
#include "Core/rules/RuleManager.h"

#include <cstdio>

namespace sweeper {
namespace {

// The rule document deciphered and decoded, and its two compiled forests.
void demoRules(const Globals& g, nlohmann::json& out) {
    auto document = Core::decodeRuleDocument(Core::RuleManager::shippedDocumentText(), "ruleInfo.txt");
    auto summary = Core::RuleManager::summarize(document);
    size_t allNodes = Core::AppFileRule::all().nodeCount();
    size_t junkNodes = Core::AppFileRule::junk().nodeCount();
    if (g.json) {
        out["rules"] = {{"entries", summary.entries},
                        {"bundleIDs", summary.bundleIDs},
                        {"patterns", summary.patterns},
                        {"allMatchers", allNodes},
                        {"junkMatchers", junkNodes}};
        return;
    }
    std::printf("Rules: %zu entries (%zu bundle identifiers, %zu patterns)\n", summary.entries, summary.bundleIDs,
                summary.patterns);
    std::printf("  compiled matchers: %zu for application files, %zu for junk\n", allNodes, junkNodes);
}

CommandRegistration demoCommand{{"demo"}, "A short tour of the library on the shipped resources",
                                [](CLI::App&, Globals& g) -> Action {
                                    return [&g] {
                                        nlohmann::json out = nlohmann::json::object();
                                        demoRules(g, out);
                                        if (g.json) printJson(out);
                                        return 0;
                                    };
                                }};

}  // namespace
}  // namespace sweeper
