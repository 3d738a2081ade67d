// SPDX-License-Identifier: Apache-2.0
// Random edits of a few nodes, including unusual ones; after each, every link is compared with a model.
// Walks, clones, writes and deletes while the links still form a tree.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "require.h"
#include "tests/xml/model.h"
#include "tests/xml/reference_writer.h"

using namespace varnel::test;

namespace {

constexpr int none = -1;
constexpr int node_limit = 12;

/// The expected links of a node, as indices.
struct links {
    int next = none, previous = none, first = none, last = none, parent = none;
    bool alive = true;
};

class bench {
  public:
    /// Read compact, the nodes come from slabs that they share; only the document's is a malloc() block.
    explicit bench(bool compact) : model_(node_limit), nodes_(node_limit) {
        for (int i = 0; i < node_limit; ++i) {
            nodes_[at(i)] = fresh(i);
        }
        if (compact) {
            replace_by_compact();
        }
    }
    ~bench() {
        for (int i = 0; i < node_limit; ++i) {
            if (model_[at(i)].alive) {
                xml_node *const n = nodes_[at(i)];
                n->next = n->first_child = nullptr;
                xml_node_delete(n);
            }
        }
    }
    bench(const bench &) = delete;
    bench &operator=(const bench &) = delete;

    void step(uint8_t action, int a, int b) {
        if (!model_[at(a)].alive || !model_[at(b)].alive) {
            return;
        }
        switch (action % 9) {
        case 0:
            unlink(a);
            break;
        case 1:
            insert_before(a, b);
            break;
        case 2:
            insert_after(a, b);
            break;
        case 3:
            add_child(a, b);
            break;
        case 4:
            add_middle_child(a, b);
            break;
        case 5:
            walk(a);
            break;
        case 6:
            clone(a);
            break;
        case 7:
            write(a, action / 9U);
            break;
        default:
            remove(a);
        }
        compare();
    }

  private:
    static size_t at(int i) { return static_cast<size_t>(i); }
    links &m(int i) { return model_[at(i)]; }
    xml_node *n(int i) { return i == none ? nullptr : nodes_[at(i)]; }

    static xml_node *fresh(int i) {
        xml_node *const node = xml_node_new();
        const std::string name = "n" + std::to_string(i);
        node->name = strdup(name.c_str());
        node->kind = i == 0 ? xml_kind_document : i % 5 == 4 ? xml_kind_text : xml_kind_element;
        node->value = i % 3 == 2 ? strdup("v<") : nullptr;
        node->attributes = i % 2 == 1 ? xml_attribute_new() : nullptr;
        if (node->attributes != nullptr) {
            node->attributes->name = strdup("k");
            node->attributes->value = strdup("1&2");
            node->attributes->next = xml_attribute_new();
        }
        return node;
    }

    void replace_by_compact() {
        std::string text;
        for (int i = 1; i < node_limit; ++i) {
            const std::string name = "n" + std::to_string(i);
            text += "<" + name + (i % 2 == 1 ? " k='1&amp;2'>" : ">") + (i % 3 == 2 ? "v&lt;" : "") + "</" +
                    name + ">";
        }
        const auto size = static_cast<unsigned>(text.size());
        xml_node parent{};
        xml_document doc{};
        xml_refiller in{};
        xml_refiller_setup(&in, nullptr, text.data(), size, size);
        require(xml_node_read(&in, &parent, &doc, xml_flag_compact) == 0 && doc.status == 0,
                "compact reading");
        for (int i = 1; i < node_limit; ++i) {
            xml_node *const node = parent.first_child;
            xml_node_unlink(node);
            node->kind = n(i)->kind;
            xml_node_delete(n(i));
            nodes_[at(i)] = node;
        }
    }

    void compare() {
        for (int i = 0; i < node_limit; ++i) {
            const links &expected = m(i);
            if (!expected.alive) {
                continue;
            }
            const xml_node &node = *n(i);
            require(node.next == n(expected.next), "next");
            require(node.previous == n(expected.previous), "previous");
            require(node.first_child == n(expected.first), "first_child");
            require(node.last_child == n(expected.last), "last_child");
            require(node.parent == n(expected.parent), "parent");
        }
    }

    void unlink(int a) {
        const links old = m(a);
        if (old.previous != none) {
            m(old.previous).next = old.next;
        }
        if (old.next != none) {
            m(old.next).previous = m(a).previous;
        }
        if (old.parent != none && m(old.parent).first == a) {
            m(old.parent).first = m(a).next;
        }
        m(a).parent = m(a).previous = m(a).next = none;
        xml_node_unlink(n(a));
    }

    void insert_before(int a, int b) {
        m(b).parent = m(a).parent;
        m(b).previous = m(a).previous;
        m(b).next = a;
        if (m(a).parent != none && m(m(a).parent).first == a) {
            m(m(a).parent).first = b;
        }
        m(a).previous = b;
        xml_node_insert_sibling_before(n(a), n(b));
    }

    void insert_after(int a, int b) {
        m(b).parent = m(a).parent;
        m(b).next = m(a).next;
        m(b).previous = a;
        if (m(a).parent != none && m(m(a).parent).last == a) {
            m(m(a).parent).last = b;
        }
        m(a).next = b;
        xml_node_insert_sibling_after(n(a), n(b));
    }

    void add_child(int a, int b) {
        m(b).parent = a;
        if (m(a).last != none) {
            m(b).previous = m(a).last;
            m(m(a).last).next = b;
        } else {
            m(a).first = b;
        }
        m(a).last = b;
        require(xml_node_add_child(n(a), n(b)) == n(a), "add_child returns the parent");
    }

    /// All nodes reachable from a by first child and next; empty when one can be reached twice.
    std::set<int> tree_from(int a) {
        std::set<int> seen;
        std::vector<int> open{a};
        while (!open.empty()) {
            const int i = open.back();
            open.pop_back();
            if (!seen.insert(i).second) {
                return {};
            }
            for (const int next : {m(i).first, m(i).next}) {
                if (next != none) {
                    open.push_back(next);
                }
            }
        }
        return seen;
    }

    bool parents_end() {
        for (int i = 0; i < node_limit; ++i) {
            int steps = 0;
            for (int p = i; p != none && m(i).alive; p = m(p).parent) {
                if (++steps > node_limit) {
                    return false;
                }
            }
        }
        return true;
    }

    void add_middle_child(int a, int b) {
        if (tree_from(a).empty()) {
            return; // the chain of children may have no end
        }
        const links old = m(a);
        m(b).first = old.first;
        m(b).last = old.last;
        for (int child = old.first; child != none; child = m(child).next) {
            m(child).parent = b;
        }
        m(b).parent = a;
        m(a).first = m(a).last = b;
        xml_node_add_middle_child(n(a), n(b));
    }

    int next_of(int i, int &depth) {
        if (m(i).first != none) {
            ++depth;
            return m(i).first;
        }
        int up = 0;
        while (m(i).next == none && m(i).parent != none) {
            i = m(i).parent;
            ++up;
        }
        depth -= m(i).next != none ? up : 0;
        return m(i).next;
    }

    void walk(int a) {
        if (!parents_end()) {
            return;
        }
        xml_document doc{};
        doc.root = n(a);
        xml_iterator it;
        xml_iterator_setup(&it, &doc);
        int model = a;
        int depth = 0;
        for (int i = 0; i < 3 * node_limit; ++i) {
            const int next = next_of(model, depth);
            require(xml_iterator_next(&it) == n(next), "iterator");
            require(it.depth == depth, "iterator's depth");
            if (next == none) {
                return;
            }
            model = next;
        }
    }

    void clone(int a) {
        if (tree_from(a).empty() || !parents_end()) {
            return;
        }
        xml_node *const copy = xml_node_clone_tree(n(a));
        require(copy->next == nullptr && copy->previous == nullptr && copy->parent == nullptr,
                "clone's links");
        require(bytes_by_reference(*copy, 0) == bytes_by_reference(*n(a), 0), "clone's content");
        check_clone(*copy);
        xml_node_delete(copy);
    }

    static void check_clone(const xml_node &node) {
        const xml_node *last = nullptr;
        for (const xml_node *child = node.first_child; child != nullptr; child = child->next) {
            require(child->parent == &node, "clone's parent");
            require(child->previous == nullptr, "clone's previous");
            check_clone(*child);
            last = child;
        }
        require(node.last_child == last, "clone's last_child");
    }

    void write(int a, unsigned flags) {
        if (tree_from(a).empty() || !parents_end()) {
            return;
        }
        require(written_by_library(*n(a), flags) == written_by_reference(*n(a), flags), "written text");
        char *const path = xml_node_get_path_new(n(a));
        if (path != nullptr) {
            std::string buffer(strlen(path) + 1, '?');
            require(xml_node_get_path(n(a), buffer.data()) == xml_node_get_path_length(n(a)), "path length");
            require(strcmp(buffer.c_str(), path) == 0, "path");
            free(path);
        }
    }

    void remove(int a) {
        const std::set<int> gone = tree_from(a);
        if (gone.empty()) {
            return;
        }
        xml_node_delete(n(a));
        for (const int i : gone) {
            m(i).alive = false;
        }
        for (int i = 0; i < node_limit; ++i) {
            if (m(i).alive) {
                forget(gone, m(i), *n(i));
            }
        }
    }

    /// A caller that deletes nodes clears the links to them.
    static void forget(const std::set<int> &gone, links &model, xml_node &node) {
        const auto clear = [&gone](int &link, xml_node *&pointer) {
            if (gone.count(link) != 0) {
                link = none;
                pointer = nullptr;
            }
        };
        clear(model.next, node.next);
        clear(model.previous, node.previous);
        clear(model.first, node.first_child);
        clear(model.last, node.last_child);
        clear(model.parent, node.parent);
    }

    std::vector<links> model_;
    std::vector<xml_node *> nodes_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    for (const bool compact : {false, true}) {
        bench table(compact);
        for (size_t i = 0; i + 1 < size && i < 400; i += 2) {
            table.step(data[i], (data[i + 1] & 15) % node_limit, (data[i + 1] >> 4) % node_limit);
        }
    }
    return 0;
}
