#include "api/CatalogueEndpoints.h"

#include <openssl/evp.h>

#include "api/CatalogueImport.h"
#include "api/HttpAnswers.h"
#include "api/InputRules.h"
#include "storage/StorageError.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

const std::string kLanguage = "/admin/v1/projects/([^/]+)/languages/([^/]+)";

std::optional<std::string> fromBase64(const std::string& text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::string out(text.size() / 4 * 3, '\0');
  int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                               reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  if (length < 0) return std::nullopt;
  std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  out.resize(static_cast<std::size_t>(length) - padding);
  return out;
}

Value::Dictionary toJson(const ImportChange& change) {
  Value::Dictionary out{{"group", change.group}, {"key", change.key}, {"text", change.after}};
  if (!change.plural.empty()) out["plural"] = change.plural;
  if (change.before) out["was"] = *change.before;
  return out;
}

// Runs the handler once the project and language are known, with failures turned into answers.
template <typename Handler>
httplib::Server::Handler guarded(Storage& storage, Handler handler) {
  return [&storage, handler](const httplib::Request& request, httplib::Response& response) {
    try {
      const std::string id = request.matches[1], language = request.matches[2];
      if (!InputRules::isProjectId(id) || !storage.revision(id)) return refuse(request, response, 404, "no project " + id);
      if (!InputRules::isLanguageCode(language)) return refuse(request, response, 404, "no language " + language);
      handler(request, response, id, language);
    } catch (const CatalogueError& error) {
      refuse(request, response, 400, error.what());
    } catch (const StorageError& error) {
      refuse(request, response, error);
    }
  };
}

}  // namespace

void CatalogueEndpoints::addRoutes(httplib::Server& server) {
  auto bind = [this](auto method) {
    return guarded(storage_, [this, method](const httplib::Request& q, httplib::Response& r, const std::string& id,
                                            const std::string& language) { (this->*method)(q, r, id, language); });
  };
  server.Post(kLanguage + "/import", bind(&CatalogueEndpoints::importFile));
  server.Get(kLanguage + "/export", bind(&CatalogueEndpoints::exportFile));
}

void CatalogueEndpoints::importFile(const httplib::Request& request, httplib::Response& response, const std::string& id,
                                    const std::string& language) {
  auto body = json::parse(request.body);
  const Value* format = body ? body->find("format") : nullptr;
  const Value* content = body ? body->find("content") : nullptr;
  if (!format || !format->isString() || !content || !content->isString()) {
    return refuse(request, response, 400, "the body is {\"format\", \"content\": base64, \"dryRun\"}");
  }
  auto kind = catalogueFormatNamed(format->asString());
  if (!kind) return refuse(request, response, 400, "no catalogue format " + format->asString());
  auto bytes = fromBase64(content->asString());
  if (!bytes) return refuse(request, response, 400, "\"content\" is no base64");
  ImportPlan plan = planImport(storage_, id, readCatalogue(*kind, *bytes, language));
  const Value* dryRun = body->find("dryRun");
  bool apply = !(dryRun && dryRun->boolValue());
  if (apply) {
    applyImport(storage_, id, plan);
    std::vector<LiveChanges::Change> touched;
    for (const auto* list : {&plan.added, &plan.changed}) {
      for (const ImportChange& c : *list) touched.push_back({language, c.group});
    }
    live_.note(id, touched);
  }
  Value::Array added, changed;
  for (const ImportChange& c : plan.added) added.push_back(toJson(c));
  for (const ImportChange& c : plan.changed) changed.push_back(toJson(c));
  answerJson(response, Value::Dictionary{{"language", language},
                                         {"added", added},
                                         {"changed", changed},
                                         {"unchanged", static_cast<std::int64_t>(plan.unchanged)},
                                         {"applied", apply}});
}

void CatalogueEndpoints::exportFile(const httplib::Request& request, httplib::Response& response, const std::string& id,
                                    const std::string& language) {
  auto kind = catalogueFormatNamed(request.get_param_value("format"));
  if (!kind) return refuse(request, response, 400, "?format= is one of json, json-nested, strings, stringsdict, po, pot, xliff, xliff2, ts");
  std::string file = writeCatalogue(*kind, exportCatalogue(storage_, id, language));
  response.set_header("Content-Disposition", "attachment; filename=\"" + id + "-" + language +
                                                 std::string(catalogueFileExtension(*kind)) + "\"");
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_content(file, std::string(catalogueContentType(*kind)));
}

}  // namespace tolvana::server
