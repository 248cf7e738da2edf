// How the server answers: JSON bodies, and refusals that say why in the body and in the log.
// Every refusal of a request writes one log line naming the request, so an operator can tell
// a misconfigured app (401, 404) from an attack (413, 400) from a sick database (503, 507).
#pragma once

#include <httplib.h>

#include <string>

#include "tolvana/Value.h"

namespace tolvana::server {

class StorageError;

void answerJson(httplib::Response& response, const Value& body, int status = 200);
// {"error": reason} with the status, and a warning in the log.
void refuse(const httplib::Request& request, httplib::Response& response, int status, const std::string& reason);
// The answer a storage failure gets: 503 unreachable, 507 full, 409 conflict, 400 invalid,
// 404 not found, 500 otherwise.
int statusFor(const StorageError& error);
// refuse() with statusFor(error) and its message.
void refuse(const httplib::Request& request, httplib::Response& response, const StorageError& error);
// refuse(), and the connection ends after the answer: for a request whose body was not read,
// which would otherwise be taken for the next request on the connection.
void refuseAndClose(const httplib::Request& request, httplib::Response& response, int status,
                    const std::string& reason);
// Ends the connection after the answer already set.
void closeAfterAnswer(httplib::Response& response);

}  // namespace tolvana::server
