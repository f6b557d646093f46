// Compiling the rule document into the match tree, and asking the tree for
// the matcher ids of one application.
//   RuleCompileBench: a generated document of 2,000 application entries with
//   6 path expressions each (plus 50 patterns and a base rule).
#include "Core/rules/AppFileRule.h"
#include "Core/rules/RuleManager.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

std::string generatedDocument(int apps, int patterns) {
    std::string doc;
    doc.reserve(static_cast<size_t>(apps) * 400);
    doc += "'*':\n  caches: {cache: ['Lib/Caches/**']}\n  logs: {log: ['Lib/Logs/**']}\n"
           "  support: {container: ['Lib/Containers/**'], preference: ['Lib/Preferences/*(?<id>.+)\\.plist']}\n";
    for (int p = 0; p < patterns; ++p) {
        std::string vendor = "vendor" + std::to_string(p);
        doc += "'*com\\." + vendor + "\\..*':\n  organization: 'Vendor " + std::to_string(p) + "'\n"
               "  support: {support: ['Lib/Application Support/" + vendor + "']}\n";
    }
    for (int a = 0; a < apps; ++a) {
        std::string id = "com.vendor" + std::to_string(a % patterns) + ".app" + std::to_string(a);
        doc += "'" + id + "':\n  ids: ['" + id + ".helper']\n"
               "  caches: {cache: ['Lib/Caches/" + id + "', 'Lib/Caches/App" + std::to_string(a) + "/*.*\\.cache']}\n"
               "  logs: {log: ['Lib/Logs/App" + std::to_string(a) + "']}\n"
               "  support: {support: ['Lib/Application Support/App" + std::to_string(a) + "'], "
               "container: ['Lib/Containers/" + id + "']}\n"
               "  loginItems: {loginItems: ['/Library/LaunchAgents/" + id + ".agent.plist']}\n";
    }
    return doc;
}

platform::Layout& benchLayout() {
    static platform::Layout layout;
    layout.setHome("/Users/bench");
    return layout;
}

void BM_CompileDocument(benchmark::State& state) {
    const std::string doc = generatedDocument(2000, 50);
    size_t nodes = 0;
    for (auto _ : state) {
        Core::RuleManager manager(doc, benchLayout(), "generated");
        Core::AppFileRule rule(manager, true);
        nodes = rule.nodeCount();
        benchmark::DoNotOptimize(nodes);
    }
    state.counters["nodes"] = static_cast<double>(nodes);
}
BENCHMARK(BM_CompileDocument)->Unit(benchmark::kMillisecond);

void BM_MatcherIDs(benchmark::State& state) {
    const std::string doc = generatedDocument(2000, 50);
    Core::RuleManager manager(doc, benchLayout(), "generated");
    Core::AppFileRule rule(manager, true);
    int i = 0;
    size_t found = 0;
    for (auto _ : state) {
        int a = i++ % 2000;
        auto ids = rule.matcherIDs("com.vendor" + std::to_string(a % 50) + ".app" + std::to_string(a));
        found = ids.size();
        benchmark::DoNotOptimize(ids);
    }
    state.counters["ids"] = static_cast<double>(found);
}
BENCHMARK(BM_MatcherIDs)->Unit(benchmark::kMicrosecond);

void BM_ExtraInfo(benchmark::State& state) {
    const std::string doc = generatedDocument(2000, 50);
    Core::RuleManager manager(doc, benchLayout(), "generated");
    int i = 0;
    for (auto _ : state) {
        int a = i++ % 2000;
        auto info = manager.extraInfo("com.vendor" + std::to_string(a % 50) + ".app" + std::to_string(a));
        benchmark::DoNotOptimize(info);
    }
}
BENCHMARK(BM_ExtraInfo)->Unit(benchmark::kMicrosecond);

}  // namespace
