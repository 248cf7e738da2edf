// ReviewEndpoints: what the review tools of an app in draft mode call: the screen tags to
// offer, the screenshot upload with its string positions, and issue creation. Each request
// is signed like an update and checked as strictly as the library writes it.
//
// A screenshot upload is read by a request thread while the device sends it; at most
// maxConcurrentUploads are read at once and the others are turned away (503), so the
// threads that answer update requests are never all busy with uploads.
//
// Thread contract: any request thread, at once.
#pragma once

#include <httplib.h>

#include <atomic>

#include "api/ApiOptions.h"
#include "api/Snapshots.h"
#include "storage/Storage.h"

namespace tolvana::server {

class ReviewEndpoints {
 public:
  ReviewEndpoints(Snapshots& snapshots, Storage& storage, const ApiOptions& options)
      : snapshots_(snapshots), storage_(storage), options_(options) {}

  void screenTags(const httplib::Request& request, httplib::Response& response);
  // Reads the body itself, so that the upload limit applies before a byte of it is read.
  void uploadScreenshot(const httplib::Request& request, httplib::Response& response,
                        const httplib::ContentReader& reader);
  void createIssue(const httplib::Request& request, httplib::Response& response);

 private:
  // The project of the request's path, or nullptr after refusing the request.
  std::shared_ptr<const ProjectSnapshot> projectOf(const httplib::Request& request, httplib::Response& response);
  bool signedCorrectly(const httplib::Request& request, httplib::Response& response, const Project& project,
                       const std::string& text);

  Snapshots& snapshots_;
  Storage& storage_;
  const ApiOptions& options_;
  std::atomic<int> uploading_{0};
};

}  // namespace tolvana::server
