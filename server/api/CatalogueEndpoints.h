// CatalogueEndpoints: a language's texts in and out as catalogue files, beside the AdminApi
// and behind the same AdminAuth.
//
//   POST /admin/v1/projects/ID/languages/LANG/import   {"format": "po", "content": base64,
//                                                      "dryRun": true}: what would be added and
//                                                      changed; without dryRun it is written as drafts
//   GET  /admin/v1/projects/ID/languages/LANG/export?format=po   the file
//
// The file travels as base64 inside JSON: admin requests are JSON (a cross-site form cannot
// send one), and bytes that are not UTF-8 reach the reader, which says so, rather than the
// JSON parser.
#pragma once

#include <httplib.h>

#include "api/LiveChanges.h"
#include "storage/Storage.h"

namespace tolvana::server {

class CatalogueEndpoints {
 public:
  // An applied import is noted in live for the apps that preview it.
  CatalogueEndpoints(Storage& storage, LiveChanges& live) : storage_(storage), live_(live) {}
  void addRoutes(httplib::Server& server);

 private:
  void importFile(const httplib::Request& request, httplib::Response& response, const std::string& id,
                  const std::string& language);
  void exportFile(const httplib::Request& request, httplib::Response& response, const std::string& id,
                  const std::string& language);

  Storage& storage_;
  LiveChanges& live_;
};

}  // namespace tolvana::server
