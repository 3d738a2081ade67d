// SPDX-License-Identifier: Apache-2.0
#include "xml/scenario.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "xml/reference_reader.h"

namespace varnel::test {

namespace {

std::string state_of(const xml_refiller &r) {
    return "error " + std::to_string(r.error) + " fill " + std::to_string(r.fill) + " position " +
           std::to_string(r.position) + " pushed " + std::to_string(r.pushed);
}

/// A refill function's view of one run.
struct feeder {
    const scenario &plan;
    std::function<std::string()> observe;
    std::vector<char> buffer;
    std::string log;
    size_t given = 0;
    size_t calls = 0;

    feeder(const scenario &s, std::function<std::string()> observe_document)
        : plan(s), observe(std::move(observe_document)), buffer(std::max<size_t>(s.capacity, 1)) {}

    void give(xml_refiller &r, size_t wanted) {
        const size_t size = std::min({wanted, size_t{r.capacity}, plan.text.size() - given});
        memcpy(r.buffer, plan.text.data() + given, size);
        given += size;
        r.fill = static_cast<unsigned>(size);
        r.position = 0;
    }

    int refill(xml_refiller &r) {
        log += "refill: " + state_of(r) + " " + observe() + "\n";
        const refill_act act = calls < plan.acts.size() ? plan.acts[calls] : refill_act::full;
        ++calls;
        switch (act) {
        case refill_act::full:
            give(r, r.capacity);
            break;
        case refill_act::one:
            give(r, 1);
            break;
        case refill_act::three:
            give(r, 3);
            break;
        case refill_act::nothing:
            give(r, 0);
            break;
        case refill_act::fail:
            r.error = 1;
            break;
        case refill_act::fail_seven:
            r.error = 7;
            break;
        case refill_act::fail_and_fill:
            r.error = 1;
            give(r, r.capacity);
            break;
        case refill_act::recover:
            r.error = 0;
            give(r, r.capacity);
            break;
        case refill_act::push_tag:
            give(r, r.capacity);
            xml_refiller_set_char(&r, '<');
            break;
        case refill_act::push_newline:
            give(r, 2);
            xml_refiller_set_char(&r, '\n');
            break;
        }
        return r.error;
    }

    xml_refiller refiller() {
        xml_refiller r{};
        if (plan.capacity == 0) {
            buffer.assign(plan.text.begin(), plan.text.end());
            buffer.push_back('<'); // after the fill: reading it would show
            const auto size = static_cast<unsigned>(plan.text.size());
            xml_refiller_setup(&r, nullptr, buffer.data(), size, size);
        } else {
            xml_refiller_setup(
                &r,
                [](xml_refiller *self) { return static_cast<feeder *>(self->source.pointer)->refill(*self); },
                buffer.data(), 0, plan.capacity);
            r.source.pointer = this;
        }
        r.pushed = plan.pushed;
        r.error = plan.error;
        return r;
    }
};

template <class Read>
std::string run(const scenario &s, std::function<std::string()> observe, Read read) {
    const bool small = s.text.size() <= 300;
    feeder feed(
        s, small ? observe : [] { return std::string("-"); });
    xml_refiller r = feed.refiller();
    for (unsigned i = 0; i < s.reads; ++i) {
        const int result = read(r);
        feed.log += "result " + std::to_string(result) + " " + state_of(r) + " " + observe() + "\n";
    }
    return feed.log;
}

std::string as_text(const model_attribute &a) {
    return (a.name ? *a.name : "~") + "=" + (a.value ? *a.value : "~");
}

} // namespace

std::string seen_from_library(const scenario &s, unsigned kind) {
    const unsigned flags = s.flags | kind;
    xml_document *const doc = xml_document_new();
    doc->status = s.status;
    doc->root->name = s.name ? strdup(s.name->c_str()) : nullptr;
    const auto observe = [doc] { return dump(*doc); };
    std::string log;
    if (s.attributes) {
        xml_attribute a{};
        log = run(s, observe, [&](xml_refiller &r) { return xml_attribute_read(&r, &a, doc, flags); });
        log += as_text({a.name != nullptr ? std::optional<std::string>(a.name) : std::nullopt,
                        a.value != nullptr ? std::optional<std::string>(a.value) : std::nullopt});
        free(a.name);
        free(a.value);
    } else {
        log = run(s, observe, [&](xml_refiller &r) { return xml_node_read(&r, doc->root, doc, flags); });
    }
    xml_node_delete(doc->root);
    xml_document_delete(doc);
    return log;
}

std::string seen_from_reference(const scenario &s) {
    model_document doc;
    doc.status = s.status;
    doc.root.name = s.name;
    const auto observe = [&doc] { return dump(doc); };
    if (s.attributes) {
        model_attribute a;
        std::string log =
            run(s, observe, [&](xml_refiller &r) { return reference_attribute_read(r, a, doc, s.flags); });
        return log + as_text(a);
    }
    return run(s, observe, [&](xml_refiller &r) { return reference_node_read(r, doc.root, doc, s.flags); });
}

} // namespace varnel::test
