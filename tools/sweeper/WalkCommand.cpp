// sweeper walk [--junk] [--doc FILE] (--all | ID ...): the rule-driven walk
// of the file finder over the shipped forest (or the junk forest, or the
// forest of a plain document). One finder and one cache serve the whole
// command: with IDs, one walk per identifier in the order given, wanting
// that identifier's matchers; with --all, one walk wanting every matcher.
// Hits are listed in the order they were found, with their sizes.
#include "Command.h"
#include "Output.h"
#include "RuleSource.h"

#include "Core/finder/FileFinder.h"
#include "platform/ByteCountFormatter.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace sweeper {
namespace {

using nlohmann::json;

struct WalkOptions {
    std::string doc;
    bool junk = false;
    bool all = false;
    std::vector<std::string> ids;
};

struct WalkHit {
    std::string query;
    std::optional<std::string> id;
    Core::RuleID rule;
};

int runWalk(const Globals& g, const WalkOptions& o) {
    if (o.all == !o.ids.empty()) throw CommandError("give either --all or one or more identifiers", 2);
    RuleSource source = loadRules(o.doc, o.junk);
    Core::FileFinder finder(*source.tree);

    std::vector<WalkHit> hits;
    std::vector<Core::AppFileInfo> infos;
    auto walk = [&](const std::string& query, const Core::FileFinder::IsWanted& wanted) {
        finder.find(wanted, [&](const std::optional<Core::CaseInsensitiveString>& id,
                                const std::shared_ptr<Core::FileInfo>& info, const Core::AppFileKind& kind,
                                const Core::RuleID& rule) {
            std::optional<std::string> text;
            if (id) text = id->origin();
            hits.push_back({query, text, rule});
            infos.push_back({info, kind, Core::App::app(id.value_or(Core::CaseInsensitiveString()))});
        });
    };
    if (o.all) {
        walk("*", [](Core::MatcherID) { return true; });
    } else {
        for (const auto& id : o.ids) {
            auto wanted = source.tree->matcherIDs(id);
            walk(id, [&wanted](Core::MatcherID m) { return wanted.contains(m); });
        }
    }
    auto files = finder.makeAppFiles(infos);

    if (g.json) {
        json out = json::array();
        for (size_t i = 0; i < hits.size(); ++i) {
            out.push_back({{"query", hits[i].query},
                           {"id", hits[i].id ? json(*hits[i].id) : json(nullptr)},
                           {"path", files[i].url().path()},
                           {"kind", files[i].kind().rawValue()},
                           {"rule", ruleJson(hits[i].rule)},
                           {"size", files[i].size()}});
        }
        printJson({{"hits", out}});
    } else {
        for (size_t i = 0; i < hits.size(); ++i) {
            std::printf("%s\t%s\t%s\t%s\t%s\t%s\n", hits[i].query.c_str(), hits[i].id.value_or("-").c_str(),
                        files[i].kind().rawValue().c_str(), ruleText(hits[i].rule).c_str(),
                        files[i].sizeString().c_str(), files[i].url().path().c_str());
        }
        if (!g.quiet) std::fprintf(stderr, "%zu hits\n", hits.size());
    }
    return 0;
}

CommandRegistration walkCommand{
    {"walk"}, "Walk the rule forest and list the files it finds, with their sizes",
    [](CLI::App& cmd, Globals& g) -> Action {
        auto o = std::make_shared<WalkOptions>();
        cmd.add_option("--doc", o->doc, "A plain YAML rule document to use instead of the shipped one");
        cmd.add_flag("--junk", o->junk, "The junk forest (caches and logs only)");
        cmd.add_flag("--all", o->all, "One walk that wants every matcher");
        cmd.add_option("ID", o->ids, "Identifiers to walk for, one walk each, in this order");
        return [o, &g] { return runWalk(g, *o); };
    }};

}  // namespace
}  // namespace sweeper
