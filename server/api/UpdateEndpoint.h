// UpdateEndpoint: the library's update request, GET (cacheable, with a fixed time stamp) and
// POST (full: missing strings, drafts, the monthly device report), answered from the
// project's current snapshot.
//
// The common request, a cacheable GET that many devices send to the byte, is answered from
// the snapshot's answer cache after one look-up of the project's revision: its signature is
// compared with the one kept beside the cached answer, and nothing is parsed or encoded
// again. The answer carries an entity tag, and a cacheable one may be kept by a cache in
// front of the server, which then asks again with If-None-Match and gets 304.
//
// Thread contract: handle() from any request thread, at once.
#pragma once

#include <httplib.h>

#include "api/ApiOptions.h"
#include "api/DeviceProfiles.h"
#include "api/Snapshots.h"
#include "storage/Storage.h"

namespace tolvana::server {

// What the test fixture sees of update requests and how it plays its faults.
class UpdateObserver {
 public:
  virtual ~UpdateObserver() = default;
  // Answers in the normal answer's place when it returns true.
  virtual bool answerInstead(httplib::Response& response) = 0;
  // Every update request with its answer, before the answer goes out.
  virtual void answered(const httplib::Request& request, const httplib::Response& response) = 0;
};

class UpdateEndpoint {
 public:
  UpdateEndpoint(Snapshots& snapshots, Storage& storage, DeviceProfiles& devices, const ApiOptions& options,
                 UpdateObserver* observer = nullptr)
      : snapshots_(snapshots), storage_(storage), devices_(devices), options_(options), observer_(observer) {}

  void handle(const httplib::Request& request, httplib::Response& response);

 private:
  void answer(const httplib::Request& request, httplib::Response& response);
  void send(const httplib::Request& request, httplib::Response& response, const EncodedAnswer& answer, bool cacheable);

  Snapshots& snapshots_;
  Storage& storage_;
  DeviceProfiles& devices_;
  const ApiOptions& options_;
  UpdateObserver* observer_;
};

}  // namespace tolvana::server
