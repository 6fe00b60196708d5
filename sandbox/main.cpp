#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "HTTPServer.h"
#include "Sandbox.h"
#include "http/Certificate.h"

namespace {

using namespace corvane::sandbox;

constexpr const char* usage =
    R"(corvane-sandbox: a local backend to develop and test against.

  --port N                 listen on this port (default 8717; 0 takes a free one)
  --bind ADDRESS           listen on this IP address (default 127.0.0.1)
  --key KEY                take this API key, which begins with cv_ (repeatable; default: any such key)
  --data FILE              keep links and records in this SQLite file (default: in memory)
  --tls                    HTTPS, with a certificate made at each start
  --certificate-file FILE  write that certificate to this file
  --allow-host NAME        answer requests for this host name too (repeatable)
  --exit-on-eof            end when standard input does
  --help                   this text

The first line of output is "corvane-sandbox listening on URL". Open that URL to watch what happens.
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

Options readOptions(int count, char** arguments) {
  const option known[] = {{"port", required_argument, nullptr, 'p'},
                          {"bind", required_argument, nullptr, 'b'},
                          {"key", required_argument, nullptr, 'k'},
                          {"data", required_argument, nullptr, 'd'},
                          {"tls", no_argument, nullptr, 't'},
                          {"certificate-file", required_argument, nullptr, 'c'},
                          {"allow-host", required_argument, nullptr, 'a'},
                          {"exit-on-eof", no_argument, nullptr, 'e'},
                          {"help", no_argument, nullptr, 'h'},
                          {nullptr, 0, nullptr, 0}};
  Options options;
  for (int found = 0; (found = getopt_long(count, arguments, "h", known, nullptr)) != -1;) {
    switch (found) {
      case 'p':
        options.server.port = readPort(optarg);
        break;
      case 'b':
        options.server.address = optarg;
        break;
      case 'k':
        options.sandbox.keys.push_back(readKey(optarg));
        break;
      case 'd':
        options.sandbox.dataFile = optarg;
        break;
      case 't':
        options.tls = true;
        break;
      case 'c':
        options.certificateFile = optarg;
        break;
      case 'a':
        options.sandbox.allowedHosts.emplace_back(optarg);
        break;
      case 'e':
        options.server.exitOnEOF = true;
        break;
      case 'h':
        std::fputs(usage, stdout);
        std::exit(EXIT_SUCCESS);
      default:
        throw UsageError("");  // getopt_long has said what is wrong
    }
  }
  if (optind < count) throw UsageError(std::string("not an option: ") + arguments[optind]);
  if (!options.certificateFile.empty() && !options.tls)
    throw UsageError("--certificate-file goes with --tls");
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
    std::printf("This is its certificate; put it into a file to trust it, say %s:\n%s", file.c_str(),
                certificate.c_str());
  }
  std::printf("To trust it in one command: curl --cacert %s ...\n", file.c_str());
  std::printf(
      "To trust it on this machine (Debian): sudo cp %s /usr/local/share/ca-certificates/corvane-sandbox.crt "
      "&& sudo update-ca-certificates\n",
      file.c_str());
  std::printf("It is made anew at each start. On a phone, install the file as a certificate authority.\n");
}

void serve(Options options) {
  if (options.tls) {
    options.server.certificate = makeCertificate(options.server.address);
    if (!options.certificateFile.empty())
      writeFile(options.certificateFile, options.server.certificate->certificate);
  }
  std::unique_ptr<HTTPServer> server;  // the sandbox publishes through it, and it asks the sandbox
  Sandbox sandbox(options.sandbox, [&server](const std::string& event) { server->publish(event); });
  server = std::make_unique<HTTPServer>(
      options.server, [&sandbox](const Request& request) { return sandbox.handle(request); });
  std::printf("corvane-sandbox listening on %s\n", server->origin().c_str());
  if (options.tls) printTrust(options, options.server.certificate->certificate);
  std::fflush(stdout);
  server->run();
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
