// Requests as a server gets them from strangers, once their bytes have come: any address, and any
// body as a recording, a fingerprint, features or a listener's message. A channel that a message
// put on air is asked about, and taken off air again.
//
// Input: u8 method (bits 0 to 1) and whether the body is said to be JSON (bit 2); the request's
// target, up to a line end; the rest is its body.

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "fuzz/fuzz_input.h"
#include "fuzz/leftovers.h"
#include "tool/recognition/no_references.h"
#include "tool/service/channel_message.h"
#include "tool/service/http_error.h"
#include "tool/service/service.h"
#include "tool/store/local_store.h"

namespace {

using audiomatch::HttpRequest;
using audiomatch::HttpResponse;

/// A server without its network.
class Server {
 public:
  /// Nothing when a request isn't one.
  std::optional<HttpResponse> ask(HttpRequest request, const std::string& target) {
    if (!audiomatch::parseTarget(target, request)) return {};
    request.length = request.body.size();
    audiomatch::HttpAdmission admission = handler_.admit(request);
    return admission.answer ? std::move(*admission.answer) : handler_.answer(request);
  }

 private:
  audiomatch::Service service_{
      std::make_unique<audiomatch::LocalStore>(std::make_unique<audiomatch::NoReferences>(),
                                               nullptr, audiomatch::kThresholds),
      audiomatch::kThresholds,
      {}};
  audiomatch::HttpHandler handler_ = service_.handler();
};

/// Answers are whole, and no request is the server's own fault.
void check(const HttpResponse& response) {
  FUZZ_REQUIRE(response.status >= 200 && response.status != 500);
  if (response.type != "application/json") return;
  const auto answer = nlohmann::json::parse(response.body, nullptr, false);
  FUZZ_REQUIRE(answer.is_object() && answer.value("version", 0) == 1);
  FUZZ_REQUIRE(answer.contains("error") == (response.status >= 400));
}

/// What a listener's message says is the same when it is said again.
void sayAgain(const std::string& body) {
  try {
    const std::string again = encodeMessage(audiomatch::decodeMessage(body));
    FUZZ_REQUIRE(encodeMessage(audiomatch::decodeMessage(again)) == again);
  } catch (const audiomatch::HttpError&) {
  }
}

std::string text(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr const char* kMethods[] = {"POST", "GET", "DELETE", "HEAD"};
  audiofuzz::beginRun(data, size);
  audiofuzz::FuzzInput input(data, size);
  const int descriptor = audiofuzz::nextDescriptor();
  const unsigned bits = input.u8();
  const std::string all = text(input.rest());
  const std::size_t line = std::min(all.find('\n'), all.size());
  HttpRequest request;
  request.method = kMethods[bits & 3];
  if ((bits & 4) != 0) request.type = "application/json";
  request.body = all.substr(std::min(line + 1, all.size()));
  Server server;
  if (const auto response = server.ask(request, all.substr(0, line))) check(*response);
  sayAgain(request.body);
  HttpRequest question;
  question.method = "GET";
  check(*server.ask(question, "/v1/channels"));
  FUZZ_REQUIRE(audiofuzz::nextDescriptor() == descriptor);
  return 0;
}
