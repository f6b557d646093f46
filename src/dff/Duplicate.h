#pragma once
// dff::Duplicate<K, V>: the engine's one index, an ordered multimap kept as a
// red-black tree. Each node holds one key and every value added under it, in
// order of arrival; a node with one value is a loner, one with more holds
// candidates. Nodes are never removed: an index lives for one stage and is
// destroyed whole. Values are not owned.
//
// The iterator walks the tree's shape depth first (a node, then its right
// subtree, then its left), not in key order.
//
// Threading: none; one thread uses an index at a time.
//
//   dff::Duplicate<long long, dff::File*> bySize;
//   bySize.add(file->size, file);
//   for (auto it = bySize.begin(); !it.atEnd(); ++it)
//       if (it->values.size() > 1) ...

#include "dff/internal/ValueList.h"

#include <cstdint>
#include <deque>
#include <vector>
#include <utility>

namespace dff {

template <class K, class V>
class Duplicate {
public:
    using Values = internal::ValueList<V>;

    struct Node {
        Node(const K& key, const V& value, Node* parent) : key(key), values{value}, parent(parent) {}
        K key;
        // In order of arrival; never empty (until a stage takes them).
        Values values;
        // 1 black, 0 red; a new node is red.
        uint8_t color = kRed;
        Node* parent;
        Node* left = nullptr;
        Node* right = nullptr;
    };

    static constexpr uint8_t kRed = 0;
    static constexpr uint8_t kBlack = 1;

    // A stack of nodes; its top is the current node, an empty stack the end.
    class Iterator {
    public:
        Iterator() = default;
        explicit Iterator(Node* root) {
            if (root) _stack.push_back(root);
        }
        bool atEnd() const { return _stack.empty(); }
        Node& operator*() const { return *_stack.back(); }
        Node* operator->() const { return _stack.back(); }
        // Takes the top off, then pushes its left child and its right child.
        Iterator& operator++() {
            Node* node = _stack.back();
            _stack.pop_back();
            if (node->left) _stack.push_back(node->left);
            if (node->right) _stack.push_back(node->right);
            return *this;
        }
        // Two iterators meet when both are at the end or on the same node,
        // which lets a range-for run to end().
        friend bool operator==(const Iterator& a, const Iterator& b) {
            if (a.atEnd() || b.atEnd()) return a.atEnd() == b.atEnd();
            return a._stack.back() == b._stack.back();
        }

    private:
        std::deque<Node*> _stack;
    };

    Duplicate() = default;
    Duplicate(const Duplicate&) = delete;
    Duplicate& operator=(const Duplicate&) = delete;
    Duplicate(Duplicate&& other) noexcept : root(std::exchange(other.root, nullptr)) {}
    Duplicate& operator=(Duplicate&& other) noexcept {
        if (this != &other) {
            clear();
            root = std::exchange(other.root, nullptr);
        }
        return *this;
    }
    ~Duplicate() { clear(); }

    // Adds `value` under `key`: appended to the key's node when there is one
    // (the tree does not change), else in a new node that is then balanced.
    void add(const K& key, const V& value) {
        if (!root) {
            root = new Node(key, value, nullptr);
            root->color = kBlack;
            return;
        }
        Node* node = root;
        for (;;) {
            if (key < node->key) {
                if (!node->left) {
                    node->left = new Node(key, value, node);
                    node = node->left;
                    break;
                }
                node = node->left;
            } else if (key > node->key) {
                if (!node->right) {
                    node->right = new Node(key, value, node);
                    node = node->right;
                    break;
                }
                node = node->right;
            } else {
                node->values.push_back(value);
                return;
            }
        }
        insertCase1(node);
        // A rotation may have moved the root.
        while (root->parent) root = root->parent;
    }

    Iterator begin() const { return Iterator(root); }
    Iterator end() const { return Iterator(); }
    bool empty() const { return root == nullptr; }

    Node* root = nullptr;

private:
    void clear() {
        if (!root) return;
        std::deque<Node*> pending{root};
        while (!pending.empty()) {
            Node* node = pending.back();
            pending.pop_back();
            if (node->left) pending.push_back(node->left);
            if (node->right) pending.push_back(node->right);
            delete node;
        }
        root = nullptr;
    }

    static bool isRed(const Node* node) { return node && node->color == kRed; }

    // The balancing steps after an insert, each named after its case.
    void insertCase1(Node* node) {
        if (!node->parent)
            node->color = kBlack;
        else
            insertCase2(node);
    }
    void insertCase2(Node* node) {
        if (node->parent->color == kBlack) return;
        insertCase3(node);
    }
    void insertCase3(Node* node) {
        // The parent is red, so it is not the root and a grandparent exists.
        Node* grandparent = node->parent->parent;
        Node* uncle = grandparent->left == node->parent ? grandparent->right : grandparent->left;
        if (isRed(uncle)) {
            node->parent->color = kBlack;
            uncle->color = kBlack;
            grandparent->color = kRed;
            insertCase1(grandparent);
        } else {
            insertCase4(node);
        }
    }
    void insertCase4(Node* node) {
        Node* grandparent = node->parent->parent;
        if (node == node->parent->right && node->parent == grandparent->left) {
            rotateLeft(node->parent);
            node = node->left;
        } else if (node == node->parent->left && node->parent == grandparent->right) {
            rotateRight(node->parent);
            node = node->right;
        }
        insertCase5(node);
    }
    void insertCase5(Node* node) {
        Node* grandparent = node->parent->parent;
        node->parent->color = kBlack;
        grandparent->color = kRed;
        if (node == node->parent->left && node->parent == grandparent->left)
            rotateRight(grandparent);
        else
            rotateLeft(grandparent);
    }

    // Both rotations keep the parent links and relink the node above. A
    // left rotation lifts the right child, a right rotation the left one.
    void rotateLeft(Node* node) { rotate(node, &Node::right, &Node::left); }
    void rotateRight(Node* node) { rotate(node, &Node::left, &Node::right); }
    static void rotate(Node* node, Node* Node::*lifted, Node* Node::*other) {
        Node* pivot = node->*lifted;
        replaceChild(node->parent, node, pivot);
        node->*lifted = pivot->*other;
        if (pivot->*other) (pivot->*other)->parent = node;
        pivot->*other = node;
        node->parent = pivot;
    }
    static void replaceChild(Node* parent, Node* old, Node* replacement) {
        replacement->parent = parent;
        if (!parent) return;
        if (parent->left == old)
            parent->left = replacement;
        else
            parent->right = replacement;
    }
};

}  // namespace dff
