// SPDX-License-Identifier: Apache-2.0
#include "sim/models/plugin.h"

#include <filesystem>
#include <utility>

#include <dlfcn.h>
#include <fmt/format.h>

#include "sim/models/settings.h"
#include "varnel-sim/model.h"

namespace varnel::sim {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const std::string &file, std::string_view why) {
    throw bad_setting(fmt::format("type: '{}' is not a chip model: {}", file, why));
}

/// Loaded once, and until the process ends: texts and functions of a model may be in use until then.
const varnel_sim_model &load(const std::string &file) {
    std::error_code ignored;
    if (!fs::is_regular_file(file, ignored)) {
        refuse(file, "there is no such file");
    }
    void *const object = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (object == nullptr) {
        refuse(file, dlerror());
    }
    const auto *const model = static_cast<const varnel_sim_model *>(dlsym(object, "varnel_sim_plugin"));
    if (model == nullptr) {
        refuse(file, "it does not define varnel_sim_plugin");
    }
    if (model->version != varnel_sim_model_version) {
        refuse(file, fmt::format("it is for version {} of varnel-sim/model.h, not {}", model->version,
                                 int{varnel_sim_model_version}));
    }
    return *model;
}

/// The board as the plug-in sees it.
struct plugin_board : varnel_sim_board {
    static uint64_t nanoseconds(const varnel_sim_board *board) {
        return static_cast<uint64_t>(static_cast<const plugin_board *>(board)->clock.now().count());
    }

    const board_clock &clock;
};

void add_reading(void *to, const char *name, const char *value, int settable) {
    static_cast<std::vector<reading> *>(to)->push_back({name, std::string(value), settable != 0});
}

class plugin : public chip, private bus_port {
  public:
    plugin(const std::string &file, const board_clock &clock)
        : model_(load(file)), type_(fs::path(file).stem().string()),
          source_(file), board_{{plugin_board::nanoseconds}, clock},
          state_(model_.power_on(&board_), model_.power_off) {
        if (!state_) {
            refuse(file, "power_on() failed");
        }
    }

    [[nodiscard]] const chips::datasheet &sheet() const override { return sheet_; }
    bus_port &port(std::size_t /*index*/) override { return *this; }

    [[nodiscard]] std::vector<reading> readings() const override {
        std::vector<reading> all;
        model_.show(state_.get(), add_reading, &all);
        return all;
    }

    void set(std::string_view name, std::string_view value) override {
        const std::string key(name);
        const std::string text(value);
        const char *expected = "";
        const auto result = model_.set(state_.get(), key.c_str(), text.c_str(), &expected);
        if (result == varnel_sim_set_bad_name) {
            refuse_name(name, expected);
        }
        if (result != varnel_sim_set_done) {
            refuse_value(name, value, expected);
        }
        std::erase_if(settings_, [&key](const auto &old) { return old.first == key; });
        settings_.emplace_back(key, text);
    }

    void power_on() override {
        if (std::exchange(has_been_on_, true)) {
            restart();
        }
    }

  private:
    /// A model that fails now keeps its state.
    void restart() {
        void *const state = model_.power_on(&board_);
        if (state == nullptr) {
            return;
        }
        state_.reset(state);
        for (const auto &[name, value] : settings_) {
            const char *ignored = "";
            (void)model_.set(state, name.c_str(), value.c_str(), &ignored);
        }
    }

    bool start(direction way) override {
        return model_.start(state_.get(), static_cast<int>(way == direction::read)) != 0;
    }
    bool write(uint8_t byte) override { return model_.write(state_.get(), byte) != 0; }
    uint8_t read() override { return model_.read(state_.get()); }
    void stop() override {
        if (model_.stop != nullptr) {
            model_.stop(state_.get());
        }
    }

    const varnel_sim_model &model_;
    const std::string type_;
    const std::string source_;
    const chips::datasheet sheet_{type_, model_.title, source_};
    const plugin_board board_;
    std::unique_ptr<void, void (*)(void *)> state_;
    std::vector<std::pair<std::string, std::string>>
        settings_; ///< that it has taken: the latest of each name
    bool has_been_on_ = false;
};

} // namespace

std::unique_ptr<chip> make_plugin(const std::string &file, const board_clock &clock) {
    return std::make_unique<plugin>(file, clock);
}

} // namespace varnel::sim
