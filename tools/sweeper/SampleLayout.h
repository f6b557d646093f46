#pragma once
// Points the layout at a sample's root and home for the life of the scope,
// then back where they were.

#include "platform/Layout.h"

#include <string>

class SampleLayout {
public:
    SampleLayout(const std::string& root, const std::string& home)
        : _root(platform::Layout::shared().root()), _home(platform::Layout::shared().home()) {
        platform::Layout::shared().setRoot(root);
        platform::Layout::shared().setHome(home);
    }
    ~SampleLayout() {
        platform::Layout::shared().setRoot(_root);
        platform::Layout::shared().setHome(_home);
    }
    SampleLayout(const SampleLayout&) = delete;
    SampleLayout& operator=(const SampleLayout&) = delete;

private:
    std::string _root, _home;
};
