#include "Core/rules/MatcherNode.h"

#include "Core/rules/DirectoryMatcher.h"

namespace Core {

MatcherID MatcherNode::id() const { return isFile() ? file().id : directory()->id; }

const Matcher& MatcherNode::matcher() const { return isFile() ? file().matcher : directory()->matcher; }

}  // namespace Core
