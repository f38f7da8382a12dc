// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/listing.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace tresk::ctl {

namespace {

/// What has to be known of rows before the first one is written for people.
struct Measures {
    std::size_t count = 0;
    std::vector<std::size_t> widths;
};

class Listing final : public RowSource {
  public:
    Listing(std::unique_ptr<EntryStream> entries, std::string file, std::size_t fields, EntryFilter filter)
        : entries_(std::move(entries)), file_(std::move(file)), fields_(fields), filter_(std::move(filter))
    {
    }

    /// Both are false where the policy cannot be listed so.
    bool judge() { return entries_->is_sound(); }

    bool measure()
    {
        Measures measures{0, std::vector<std::size_t>(fields_, 0)};
        const bool sound = entries_->each([&](const Entry& entry) {
            if (filter_.matches(entry)) {
                add_to(measures, entry.values);
            }
        });
        measures_ = std::move(measures);
        return sound;
    }

    [[nodiscard]] std::size_t count() const override { return measures().count; }

    [[nodiscard]] const std::vector<std::size_t>& widths() const override { return measures().widths; }

    std::optional<Failure> each(const std::function<void(const Row&)>& take) override
    {
        const bool complete = entries_->each([&](const Entry& entry) {
            if (filter_.matches(entry)) {
                take(entry.values);
            }
        });
        return complete ? std::nullopt : std::optional(changed());
    }

  private:
    static void add_to(Measures& measures, const Row& row)
    {
        ++measures.count;
        for (std::size_t field = 0; field < row.size(); ++field) {
            measures.widths[field] = std::max(measures.widths[field], width_of(row[field]));
        }
    }

    [[nodiscard]] const Measures& measures() const
    {
        if (!measures_) {
            throw std::logic_error("a listing for programs is not measured");
        }
        return *measures_;
    }

    [[nodiscard]] Failure changed() const
    {
        return {Cause::Policy,
                "the policy was written to while it was listed: entries may be missing",
                {},
                file_,
                "Look again."};
    }

    std::unique_ptr<EntryStream> entries_;
    std::string file_;
    std::size_t fields_;
    EntryFilter filter_;
    std::optional<Measures> measures_;
};

} // namespace

std::shared_ptr<RowSource> open_listing(const Kind& kind, const EntryFilter& filter, const Settings& settings)
{
    auto entries = kind.stream == nullptr ? nullptr : kind.stream(settings.root);
    if (!entries) {
        return nullptr;
    }
    const auto listing =
        std::make_shared<Listing>(std::move(entries), settings.root + kind.file, kind.fields.size(), filter);
    const bool in_columns = !settings.json() && settings.bare_field.empty();
    return (in_columns ? listing->measure() : listing->judge()) ? listing : nullptr;
}

} // namespace tresk::ctl
