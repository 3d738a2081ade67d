// SPDX-License-Identifier: Apache-2.0
#include "xml/reference_writer.h"

#include <cstring>

namespace varnel::test {

namespace {

/// A sink that logs.
struct logger {
    size_t fail_at;
    size_t calls = 0;
    unsigned count = 0;
    int error = 0;
    std::string log;
    std::string all;

    void piece(const std::string &bytes, unsigned count_so_far) {
        log += std::to_string(count_so_far) + " [" + bytes + "]\n";
        all += bytes;
        if (calls++ == fail_at) {
            error = 3;
        }
    }

    void end() { log += "count " + std::to_string(count) + " error " + std::to_string(error); }
};

struct writing {
    logger &out;
    unsigned flags;

    bool raw() const { return (flags & 8) != 0; }
    void put(const std::string &s) { out.piece(s, out.count); }
    void put(const char *s) { put(std::string(s != nullptr ? s : "")); }

    void escape(const char *s) {
        for (; s != nullptr && *s != '\0'; ++s) {
            switch (*s) {
            case '"':
                put("&quot;");
                break;
            case '&':
                put("&amp;");
                break;
            case '\'':
                put("&apos;");
                break;
            case '<':
                put("&lt;");
                break;
            case '>':
                put("&gt;");
                break;
            default:
                put(std::string(1, *s));
            }
            if (out.error != 0) {
                return;
            }
        }
    }

    void value(const char *s) {
        if (raw()) {
            put(s);
        } else {
            escape(s);
        }
    }

    void attribute(const xml_attribute &a) {
        put(a.name);
        put("=");
        put("\"");
        value(a.value);
        put("\"");
    }

    void indent(int level) {
        for (int i = 0; i < level; ++i) {
            if ((flags & 2) != 0) {
                put("\t");
            } else if ((flags & 4) != 0) {
                put("   ");
            } else {
                put(" ");
            }
            if (out.error != 0) {
                return;
            }
        }
    }

    void children(const xml_node &n) {
        for (const xml_node *child = n.first_child; child != nullptr; child = child->next) {
            node(*child);
        }
    }

    static int depth(const xml_node *n) { return n == nullptr || n->kind == 5 ? 0 : 1 + depth(n->parent); }

    void element(const xml_node &n, int level) {
        const bool indented = (flags & 1) != 0;
        put("<");
        put(n.name);
        for (const xml_attribute *a = n.attributes; a != nullptr; a = a->next) {
            if (out.error != 0) {
                break;
            }
            if (a->name != nullptr) {
                put(" ");
                attribute(*a);
            }
        }
        if (n.value == nullptr && n.first_child == nullptr) {
            put("/>\n");
            return;
        }
        put(">");
        if (n.first_child != nullptr) {
            put("\n");
            children(n);
        }
        if (n.value != nullptr) {
            if (n.first_child != nullptr && indented) {
                indent(level + 1);
            }
            value(n.value);
        }
        if (n.first_child != nullptr && indented) {
            indent(level);
        }
        put("</");
        put(n.name);
        put(">\n");
    }

    void markup(const char *opening, const xml_node &n, const char *closing) {
        put(opening);
        put(n.name);
        if (n.value != nullptr) {
            put(" ");
            put(n.value);
        }
        put(closing);
    }

    void node(const xml_node &n) {
        const int level = depth(&n) - 1;
        if ((flags & 1) != 0) {
            indent(level);
        }
        switch (n.kind) {
        case 0:
            element(n, level);
            break;
        case 1:
            put("<!-- ");
            put(n.value);
            put(" -->\n");
            break;
        case 2:
            markup("<?", n, "?>\n");
            break;
        case 3:
            markup("<!", n, ">\n");
            break;
        case 4:
            value(n.value);
            break;
        case 5:
            children(n);
            put("\n");
            break;
        default:
            break;
        }
        if (out.error == 0) {
            ++out.count;
        }
    }
};

int log_piece(xml_output *out, const char *bytes, unsigned length) {
    auto *const log = static_cast<logger *>(out->target.pointer);
    log->piece(std::string(bytes, length), out->count);
    if (log->error != 0) {
        out->error = log->error;
    }
    return 0;
}

template <class Write>
std::string logged(size_t fail_at, int error, Write write) {
    logger log{.fail_at = fail_at, .log = {}, .all = {}};
    xml_output out{};
    xml_output_setup(&out, log_piece);
    out.error = error;
    out.target.pointer = &log;
    write(out);
    log.count = out.count;
    log.error = out.error;
    log.end();
    return log.log;
}

} // namespace

std::string written_by_library(const xml_node &node, unsigned flags, size_t fail_at, int error) {
    return logged(fail_at, error,
                  [&](xml_output &out) { xml_node_write(&out, const_cast<xml_node *>(&node), flags); });
}

std::string written_by_library(const xml_attribute &attribute, unsigned flags, size_t fail_at) {
    return logged(fail_at, 0, [&](xml_output &out) {
        xml_attribute_write(&out, const_cast<xml_attribute *>(&attribute), flags);
    });
}

std::string written_by_reference(const xml_node &node, unsigned flags, size_t fail_at, int error) {
    logger log{.fail_at = fail_at, .error = error, .log = {}, .all = {}};
    writing{log, flags}.node(node);
    log.end();
    return log.log;
}

std::string written_by_reference(const xml_attribute &attribute, unsigned flags, size_t fail_at) {
    logger log{.fail_at = fail_at, .log = {}, .all = {}};
    writing{log, flags}.attribute(attribute);
    log.end();
    return log.log;
}

std::string bytes_by_reference(const xml_node &node, unsigned flags) {
    logger log{.fail_at = no_failure, .log = {}, .all = {}};
    writing{log, flags}.node(node);
    return log.all;
}

} // namespace varnel::test
