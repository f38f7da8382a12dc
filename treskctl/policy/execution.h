// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Makes a plan's changes one after the other. When one fails, has no effect, or the user wants an end, the
// ones before are undone in the reverse order; what stands all the same is found out by reading the policies
// again.
#ifndef TRESK_TRESKCTL_POLICY_EXECUTION_H
#define TRESK_TRESKCTL_POLICY_EXECUTION_H

#include "treskctl/policy/plan.h"
#include "treskctl/run.h"

#include <optional>
#include <string>
#include <vector>

namespace tresk::ctl {

/// The steps as rows of the result, each with its result while they are made; a dry run has their calls
/// instead.
class StepTable {
  public:
    explicit StepTable(Run& run);

    void add(const Change& change);
    void set_result(std::size_t step, const char* result);

    /// What is going to be done, for people who may still want to stop it.
    [[nodiscard]] std::string plan_text() const;

  private:
    const Settings& settings_;
    Table& table_;
};

/// What a plan was made for, and the plan.
struct Task {
    Machine before;
    /// Fitted to the machine.
    Document wanted;
    Others others;
    Plan plan;
};

class Execution {
  public:
    /// All three must outlive it; the table has the plan's changes.
    Execution(Run& run, const Task& task, StepTable& table);

    /// Makes all changes or, as far as that works, none. What does not work fails the run.
    void make();

  private:
    enum class State { NotReached, Asked, Done, Undone, Failed, WithoutEffect, Stands };

    struct Step {
        const Change& change;
        State state = State::NotReached;
        /// Of the undoing.
        std::optional<Failure> failure = std::nullopt;
    };

    void set_state(std::size_t step, State state);
    [[nodiscard]] std::optional<Machine> read_again() const;
    bool make_step(std::size_t step);
    void take_back(const Change& change, const Failure& failure);
    /// The steps that the policy does not show; nothing, with a failure, where it cannot be read.
    [[nodiscard]] std::optional<std::vector<std::size_t>> without_effect() const;
    bool have_effect();
    void undo(std::size_t end);
    void tell_standing();
    void judge(std::size_t step, const Entry* before, const Entry* now);

    Run& run_;
    const Task& task_;
    StepTable& table_;
    std::vector<Step> steps_;
};

} // namespace tresk::ctl

#endif
