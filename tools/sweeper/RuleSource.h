#pragma once
// The rules and forest a command works on (the shipped ones, or those of a
// plain document given with --doc), and the JSON form of a rule id, shared
// by the commands that show the forest and those that walk it.

#include "Command.h"

#include "Core/rules/AppFileRule.h"
#include "Core/rules/ResourceError.h"
#include "Core/rules/Resources.h"
#include "Core/rules/RuleManager.h"
#include "platform/Layout.h"

#include <nlohmann/json.hpp>

#include <memory>
#include <string>

namespace sweeper {

inline std::string readFileOrFail(const std::string& path) {
    try {
        return Core::readResourceFile(path);
    } catch (const Core::ResourceError& e) {
        throw CommandError(e.what());
    }
}

struct RuleSource {
    std::unique_ptr<Core::RuleManager> ownManager;
    std::unique_ptr<Core::AppFileRule> ownTree;
    const Core::RuleManager* manager = nullptr;
    const Core::AppFileRule* tree = nullptr;
};

inline RuleSource loadRules(const std::string& doc, bool junk) {
    RuleSource source;
    if (doc.empty()) {
        source.manager = &Core::RuleManager::shared();
        source.tree = junk ? &Core::AppFileRule::junk() : &Core::AppFileRule::all();
        return source;
    }
    source.ownManager = std::make_unique<Core::RuleManager>(readFileOrFail(doc), platform::Layout::shared(), doc);
    source.ownTree = std::make_unique<Core::AppFileRule>(*source.ownManager, !junk);
    source.manager = source.ownManager.get();
    source.tree = source.ownTree.get();
    return source;
}

inline nlohmann::json ruleJson(const Core::RuleID& r) {
    switch (r.ruleCase()) {
        case Core::RuleID::Case::bundleID: return {{"bundleID", r.identifier().origin()}};
        case Core::RuleID::Case::bundleIDRegex: return {{"bundleIDRegex", r.expression().pattern()}};
        case Core::RuleID::Case::base: return "base";
        case Core::RuleID::Case::black: return "black";
        case Core::RuleID::Case::system: return "system";
    }
    return nullptr;
}

// "base", "black", "system", or the case and its text ("bundleID com.x").
inline std::string ruleText(const Core::RuleID& r) {
    nlohmann::json j = ruleJson(r);
    if (j.is_string()) return j.get<std::string>();
    return j.begin().key() + " " + j.begin()->get<std::string>();
}

}  // namespace sweeper
