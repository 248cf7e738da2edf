// CatalogueImport: a catalogue file held against what a project's language has, and the
// language written out as a catalogue. An import only ever writes drafts, so nothing reaches
// apps before someone publishes; a plan that cannot be written whole is not written at all.
//
//   ImportPlan plan = planImport(storage, "my-app", readCatalogue(CatalogueFormat::po, bytes, "ru"));
//   show(plan.added, plan.changed);
//   applyImport(storage, "my-app", plan);
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "catalogues/Catalogue.h"
#include "storage/Storage.h"

namespace tolvana::server {

struct ImportChange {
  std::string group{};
  std::string key{};
  std::string plural{};
  std::optional<std::string> before{};  // the text the language has now (draft, else published)
  std::string after{};
};

struct ImportPlan {
  std::string language{};
  std::vector<ImportChange> added{};    // keys (or forms) the language lacks
  std::vector<ImportChange> changed{};  // texts that differ from the language's
  std::size_t unchanged = 0;
};

// Throws CatalogueError for a key or text the server would refuse and for a language outside
// the project; reads but does not write.
ImportPlan planImport(Storage& storage, const std::string& projectId, const Catalogue& catalogue);
// Writes the plan's texts as drafts in one transaction.
void applyImport(Storage& storage, const std::string& projectId, const ImportPlan& plan);
// The language's texts (a waiting draft before the published value), with the base
// language's texts as the source.
Catalogue exportCatalogue(Storage& storage, const std::string& projectId, const std::string& language);

}  // namespace tolvana::server
