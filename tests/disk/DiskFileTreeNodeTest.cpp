#include "disk/DiskFileTreeNode.h"

#include <gtest/gtest.h>

#include <memory>

using Core::DiskFileTreeNode;
using Core::DiskUsageFolderType;
using Core::DiskUsageNodeType;
using Core::OMFolderElement;

namespace {

std::shared_ptr<DiskFileTreeNode> file(const std::string& name, int64_t size) {
    return DiskFileTreeNode::make(OMFolderElement(OMFolderElement::Kind::normalFile, "/x/" + name, uint64_t(size)),
                                  name);
}

std::shared_ptr<DiskFileTreeNode> folder(const std::string& name) {
    auto node = DiskFileTreeNode::make(OMFolderElement(OMFolderElement::Kind::folder, "/x/" + name, 0), name);
    node->setSize(std::nullopt);
    return node;
}

// root/ { a/ { f1 100, f2 50 }, b/ { c/ { f3 30 } }, f4 7, empty/ (listed, nothing in it) }
struct Tree {
    Tree() {
        root = DiskFileTreeNode::make(OMFolderElement(OMFolderElement::Kind::folder, "/data", 0));
        a = folder("a");
        b = folder("b");
        c = folder("c");
        empty = folder("empty");
        f1 = file("f1", 100);
        f2 = file("f2", 50);
        f3 = file("f3", 30);
        f4 = file("f4", 7);
        root->appendChildren({a, b, empty});
        root->appendChildren({f4});
        a->appendChildren({f1, f2});
        b->appendChildren({c});
        c->appendChildren({f3});
        empty->appendChildren({});
        root->computeSizes();
    }
    std::shared_ptr<DiskFileTreeNode> root, a, b, c, empty, f1, f2, f3, f4;
};

TEST(DiskFileTreeNodeTest, FoldersSumTheirChildrenAndPathsComeFromTheAncestors) {
    Tree t;
    EXPECT_EQ(t.root->size(), 187);
    EXPECT_EQ(t.a->size(), 150);
    EXPECT_EQ(t.b->size(), 30);
    EXPECT_EQ(t.empty->size(), 0);
    EXPECT_TRUE(t.empty->hasSize());
    EXPECT_EQ(t.f3->path(), "/data/b/c/f3");
    EXPECT_EQ(t.f3->url().path(), "/data/b/c/f3");
    EXPECT_EQ(t.f3->parent(), t.c.get());
    EXPECT_EQ(t.root->parent(), nullptr);
    // Children in the order they arrived: the folders' batch, then the files'.
    ASSERT_NE(t.root->children(), nullptr);
    EXPECT_EQ(t.root->children()->back(), t.f4);
    EXPECT_EQ(t.f1->children(), nullptr);
}

TEST(DiskFileTreeNodeTest, AFolderNeverListedKeepsNoSizeAndAddsNothing) {
    auto root = DiskFileTreeNode::make(OMFolderElement(OMFolderElement::Kind::folder, "/", 0));
    auto unread = folder("unread");
    auto bundle = folder("App.app");
    bundle->setSize(4096);
    bundle->setFileType(DiskUsageNodeType::folder(DiskUsageFolderType::bundle));
    root->appendChildren({unread, bundle, file("f", 10)});
    root->computeSizes();
    EXPECT_FALSE(unread->hasSize());
    EXPECT_EQ(unread->size(), 0);
    EXPECT_EQ(bundle->size(), 4096);
    EXPECT_EQ(root->size(), 4106);
    EXPECT_EQ(unread->path(), "/unread");
}

TEST(DiskFileTreeNodeTest, RemovingANodeShrinksEveryAncestor) {
    Tree t;
    t.c->remove(t.f3);
    EXPECT_EQ(t.c->size(), 0);
    EXPECT_TRUE(t.c->children()->empty());
    EXPECT_EQ(t.b->size(), 0);
    EXPECT_EQ(t.root->size(), 157);
    EXPECT_EQ(t.f3->parent(), nullptr);

    t.root->remove(t.a);
    EXPECT_EQ(t.root->size(), 7);
    ASSERT_EQ(t.root->children()->size(), 3u);
    EXPECT_EQ((*t.root->children())[0], t.b);  // the rest keep their order
}

TEST(DiskFileTreeNodeTest, RemovingAStrangerChangesNoChildButSumsAnew) {
    Tree t;
    // A size changed behind the tree's back shows up after any removal.
    t.f1->setSize(1000);
    t.a->remove(t.f3);
    EXPECT_EQ(t.a->children()->size(), 2u);
    EXPECT_EQ(t.a->size(), 1050);
    EXPECT_EQ(t.root->size(), 1087);

    struct Other : Core::DiskUsageTreeNode {
        std::optional<DiskUsageNodeType> fileType() const override { return std::nullopt; }
        std::string path() const override { return "/other"; }
        platform::URL url() const override { return platform::URL::fileURL("/other"); }
        int64_t size() const override { return 1; }
        const DiskFileTreeNode::Children* children() const override { return nullptr; }
        DiskFileTreeNode* parent() const override { return nullptr; }
        void remove(const std::shared_ptr<Core::DiskUsageTreeNode>&) override {}
    };
    t.f1->setSize(1);
    t.a->remove(std::make_shared<Other>());
    EXPECT_EQ(t.a->size(), 1050);  // not even summed anew
}

TEST(DiskFileTreeNodeTest, AVeryDeepChainIsSummedWithoutRecursion) {
    auto root = DiskFileTreeNode::make(OMFolderElement(OMFolderElement::Kind::folder, "/deep", 0));
    DiskFileTreeNode* tip = root.get();
    for (int i = 0; i < 100000; ++i) {
        auto next = folder("d");
        tip->appendChildren({next});
        tip = next.get();
    }
    tip->appendChildren({file("f", 3)});
    root->computeSizes();
    EXPECT_EQ(root->size(), 3);
}

}  // namespace
