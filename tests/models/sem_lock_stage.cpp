// SPDX-License-Identifier: Apache-2.0
#include "models/stages.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>

#include <sys/sem.h>

#include "support/scratch_folder.h"
#include "support/shared_value.h"
#include "varnel/sem_lock.h"

namespace varnel::models {

namespace {

constexpr int users = 3;

class sem_lock_objects {
  public:
    sem_lock_objects() { sets_->fill(-1); }
    ~sem_lock_objects() {
        for (const int each : *sets_) {
            semctl(each, 0, IPC_RMID);
        }
    }
    sem_lock_objects(const sem_lock_objects &) = delete;
    sem_lock_objects &operator=(const sem_lock_objects &) = delete;

    [[nodiscard]] long perform(int user, const std::string &function) const {
        int &set = (*sets_)[static_cast<std::size_t>(user)];
        if (function == "get_sem_lock") {
            set = get_sem_lock(path_.c_str(), 1);
            return error_of(set);
        }
        if (function == "wait_sem_lock") {
            return error_of(wait_sem_lock(set, 0));
        }
        return error_of(function == "try_sem_lock" ? try_sem_lock(set, 0) : release_sem_lock(set, 0));
    }

    /// "value pN = V" or "operator moves the key file"
    [[nodiscard]] std::string observe(const words &line) const {
        if (line.at(0) == "operator") {
            std::rename(path_.c_str(), folder_.file("moved").c_str());
            return "operator moves the key file";
        }
        const int set = sets_->at(static_cast<std::size_t>(line.at(1).at(1) - '0'));
        return "value " + line[1] + " = " + std::to_string(semctl(set, 0, GETVAL));
    }

  private:
    static long error_of(int result) { return result == -1 ? -errno : 0; }

    test::scratch_folder folder_;
    std::string path_ = folder_.file("key");
    test::shared_value<std::array<int, users>> sets_;
};

} // namespace

stage sem_lock_stage() {
    const auto objects = std::make_shared<sem_lock_objects>();
    return {
        {{0}, {1}, {2}},
        [objects](int user) { return [=](const std::string &name) { return objects->perform(user, name); }; },
        [objects](const words &line) { return objects->observe(line); },
    };
}

} // namespace varnel::models
