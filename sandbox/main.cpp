#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "HTTPServer.h"
#include "Sandbox.h"
#include "http/Certificate.h"

namespace {

using namespace corvane::sandbox;

constexpr const char* usage =
    R"(corvane-sandbox: a local backend to develop and test against.

  --port N                 listen on this port (default 8717; 0 selects a free port)
  --bind ADDRESS           listen on this IP address (default 127.0.0.1)
  --key KEY                accept this API key, which begins with cv_ (repeatable; default: any such key)
  --data FILE              store links and records in this SQLite file (default: in memory)
  --tls                    serve HTTPS, with a new certificate at each start
  --certificate-file FILE  write that certificate to this file
  --allow-host NAME        also accept requests for this host name (repeatable)
  --exit-on-eof            exit at the end of standard input
  --help                   print this text

The first line of output is "corvane-sandbox listening on URL". Open that URL to watch the requests.
)";

struct Options {
  HTTPServer::Options server{.port = 8717};
  Sandbox::Options sandbox;
  bool tls = false;
  std::string certificateFile;
};

class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::uint16_t readPort(const std::string& text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc() || end != text.data() + text.size())
    throw UsageError("--port: not a port: " + text);
  return port;
}

std::string readKey(const std::string& key) {
  if (!key.starts_with("cv_")) throw UsageError("--key: an API key begins with cv_");
  return key;
}

void printUsage() {
  std::fputs(usage, stdout);
  std::exit(EXIT_SUCCESS);
}

struct KnownOption {
  const char* name;
  int argument;
  void (*apply)(Options& options, const char* value);
};

constexpr KnownOption knownOptions[] = {
    {"port", required_argument, [](Options& o, const char* value) { o.server.port = readPort(value); }},
    {"bind", required_argument, [](Options& o, const char* value) { o.server.address = value; }},
    {"key", required_argument,
     [](Options& o, const char* value) { o.sandbox.keys.push_back(readKey(value)); }},
    {"data", required_argument, [](Options& o, const char* value) { o.sandbox.dataFile = value; }},
    {"tls", no_argument, [](Options& o, const char*) { o.tls = true; }},
    {"certificate-file", required_argument, [](Options& o, const char* value) { o.certificateFile = value; }},
    {"allow-host", required_argument,
     [](Options& o, const char* value) { o.sandbox.allowedHosts.emplace_back(value); }},
    {"exit-on-eof", no_argument, [](Options& o, const char*) { o.server.exitOnEOF = true; }},
    {"help", no_argument, [](Options&, const char*) { printUsage(); }}};

Options readOptions(int count, char** arguments) {
  std::vector<option> known;
  for (const KnownOption& each : knownOptions) known.push_back({each.name, each.argument, nullptr, 0});
  known.push_back({});
  Options options;
  int index = 0;
  for (int result = 0; (result = getopt_long(count, arguments, "h", known.data(), &index)) != -1;) {
    if (result == 'h') printUsage();
    if (result != 0) throw UsageError("");  // getopt_long has printed what is wrong
    knownOptions[index].apply(options, optarg);
  }
  if (optind < count) throw UsageError(std::string("unknown argument: ") + arguments[optind]);
  if (!options.certificateFile.empty() && !options.tls) throw UsageError("--certificate-file needs --tls");
  return options;
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::trunc);
  file << content;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
}

void printTrust(const Options& options, const std::string& certificate) {
  std::string file = options.certificateFile;
  if (file.empty()) {
    file = "corvane-sandbox.pem";
    std::printf("To trust its certificate, save it in a file, for example %s:\n%s", file.c_str(),
                certificate.c_str());
  }
  std::printf("To trust it in one command: curl --cacert %s ...\n", file.c_str());
  std::printf(
      "To trust it on this machine (Debian): sudo cp %s /usr/local/share/ca-certificates/corvane-sandbox.crt "
      "&& sudo update-ca-certificates\n",
      file.c_str());
  std::printf(
      "Each start makes a new certificate. On a phone, install the file as a certificate authority.\n");
}

void serve(Options options) {
  Certificate certificate;
  if (options.tls) {
    certificate = makeCertificate(options.server.address);
    options.server.tls = certificate.context;
    if (!options.certificateFile.empty()) writeFile(options.certificateFile, certificate.pem);
  }
  EventStreams streams;
  Sandbox sandbox(options.sandbox, [&streams](const std::string& event) { streams.publish(event); });
  HTTPServer server(options.server, streams,
                    [&sandbox](const Request& request) { return sandbox.handle(request); });
  std::printf("corvane-sandbox listening on %s\n", server.origin().c_str());
  if (options.tls) printTrust(options, certificate.pem);
  std::fflush(stdout);
  server.run();
}

}  // namespace

int main(int count, char** arguments) {
  try {
    serve(readOptions(count, arguments));
    return EXIT_SUCCESS;
  } catch (const UsageError& error) {
    if (*error.what() != '\0') std::fprintf(stderr, "corvane-sandbox: %s\n", error.what());
    std::fputs("Try corvane-sandbox --help.\n", stderr);
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "corvane-sandbox: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
