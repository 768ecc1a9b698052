#include "world.h"

#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>

namespace corveth::bench {

namespace {

constexpr int notesOfLink = 1000;

} // namespace

void World::connect(const std::string& connectionString) {
    connection_ = make<Connection>();
    connection_->open(connectionString);
    crm_ = make<CRM>();
    crm_->UseConnection(connection_);
}

std::string World::noteId(int number) {
    return fmt::format("NT{:08}", number + 1);
}

std::string World::contactId(int number) {
    return fmt::format("CN{:08}", number + 1);
}

std::string World::companyId(int number) {
    return fmt::format("CM{:08}", number + 1);
}

int World::linkCount() const noexcept {
    return std::max(1, size_.notes / notesOfLink);
}

int World::companyCount() const noexcept {
    return std::max(1, size_.contacts / personsOfCompany);
}

void World::check() const {
    const std::string ours = summary(Who::ours), raw = summary(Who::raw);
    if (ours != raw) throw std::runtime_error("the sides saved different rows: " + ours + "; " + raw);
}

} // namespace corveth::bench
