// AdminApi: the JSON API for scripts and the web console, under /admin/v1/. Every request
// has passed AdminAuth (in the RequestGate) before it gets here.
//
//   GET    /admin/v1/projects                           every project
//   POST   /admin/v1/projects                           create {id, apiSecret, baseLanguage, languages, ...}
//   GET    /admin/v1/projects/ID                        one project
//   PATCH  /admin/v1/projects/ID                        change settings (the fields given)
//   GET    /admin/v1/projects/ID/groups                 group versions per language
//   GET    /admin/v1/projects/ID/entries                ?language=&group=&key=&drafts=1
//   PUT    /admin/v1/projects/ID/entries                {"entries": [{language, group, key, draft}]}: edit drafts
//   POST   /admin/v1/projects/ID/publish                {language?, group?}: publish the waiting drafts
//   GET    /admin/v1/projects/ID/missing                missing strings reported by apps
//   POST   /admin/v1/projects/ID/missing/accept         {keys: [{language, key}], group?, publish?}
//   GET    /admin/v1/projects/ID/screenshots            screenshots with their string positions
//   GET    /admin/v1/projects/ID/screenshots/N.png      one screenshot's image
//   GET    /admin/v1/projects/ID/issues                 issues filed from apps
//   GET    /admin/v1/projects/ID/devices                device profiles seen
//   POST   /admin/v1/projects/ID/languages/L/import     catalogue files in and out: CatalogueEndpoints.h
//   GET    /admin/v1/projects/ID/languages/L/export?format=
//
// What a console session may send follows its role (AdminAuth); accepting with "publish"
// also needs the right to publish.
//
// Answers are JSON; a refusal is {"error": why} with 400, 403, 404, 409, 503 or 507.
#pragma once

#include <httplib.h>

#include "api/AdminAuth.h"
#include "api/DeviceProfiles.h"
#include "api/LiveChanges.h"
#include "storage/Storage.h"

namespace tolvana::server {

class AdminApi {
 public:
  // Edits and publications are noted in live for the apps that preview them.
  AdminApi(Storage& storage, DeviceProfiles& devices, const AdminAuth& auth, LiveChanges& live)
      : storage_(storage), devices_(devices), auth_(auth), live_(live) {}
  void addRoutes(httplib::Server& server);

 private:
  using Handler = void (AdminApi::*)(const httplib::Request&, httplib::Response&);
  // Runs the handler with the storage's failures turned into answers.
  httplib::Server::Handler guarded(Handler handler);

  void listProjects(const httplib::Request& request, httplib::Response& response);
  void createProject(const httplib::Request& request, httplib::Response& response);
  void showProject(const httplib::Request& request, httplib::Response& response);
  void changeProject(const httplib::Request& request, httplib::Response& response);
  void listGroups(const httplib::Request& request, httplib::Response& response);
  void listEntries(const httplib::Request& request, httplib::Response& response);
  void editEntries(const httplib::Request& request, httplib::Response& response);
  void publish(const httplib::Request& request, httplib::Response& response);
  void listMissing(const httplib::Request& request, httplib::Response& response);
  void acceptMissing(const httplib::Request& request, httplib::Response& response);
  void listScreenshots(const httplib::Request& request, httplib::Response& response);
  void screenshotImage(const httplib::Request& request, httplib::Response& response);
  void listIssues(const httplib::Request& request, httplib::Response& response);
  void listDevices(const httplib::Request& request, httplib::Response& response);

  Storage& storage_;
  DeviceProfiles& devices_;
  const AdminAuth& auth_;
  LiveChanges& live_;
};

}  // namespace tolvana::server
