#include "Nginx.h"

#include <netinet/in.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <sys/socket.h>

#include <csignal>
#include <fstream>
#include <stdexcept>

namespace corvane::test {

namespace {

constexpr const char* program = "/usr/sbin/nginx";

sandbox::Descriptor listenOnLoopback() {
  if (::access(program, X_OK) != 0) throw std::runtime_error("no nginx; scripts/setup --check installs it");
  sandbox::Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::bind(listener.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener.number(), 64) != 0) {
    throw std::runtime_error("nginx: no port");
  }
  return listener;
}

std::uint16_t portOf(const sandbox::Descriptor& listener) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ::getsockname(listener.number(), reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

void writeKey(const TLSIdentity& identity, const std::string& path) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> file(BIO_new_file(path.c_str(), "w"), &BIO_free);
  EVP_PKEY* const key = SSL_CTX_get0_privatekey(identity.context().get());
  if (!file || PEM_write_bio_PrivateKey(file.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
    throw std::runtime_error("nginx: cannot write the key");
  }
}

constexpr const char* configuration = R"(
daemon off; user root; worker_processes 1; pid FOLDER/pid; error_log FOLDER/errors;
events { worker_connections 1024; }
http {
  access_log off;
  client_body_temp_path FOLDER/body; proxy_temp_path FOLDER/proxy; fastcgi_temp_path FOLDER/fastcgi;
  uwsgi_temp_path FOLDER/uwsgi; scgi_temp_path FOLDER/scgi;
  server {
    listen 127.0.0.1:PORT ssl PROTOCOL;
    DIRECTIVES
    ssl_certificate CERTIFICATE; ssl_certificate_key FOLDER/key.pem;
    location / { proxy_pass ORIGIN; add_header X-Connection $connection;
      add_header X-Resumed $ssl_session_reused; }
  }
}
)";

std::string replaced(std::string text, const std::string& name, const std::string& value) {
  for (std::size_t at; (at = text.find(name)) != std::string::npos;) text.replace(at, name.size(), value);
  return text;
}

}  // namespace

Nginx::Nginx(Protocol protocol, const std::string& origin, const std::string& directives)
    : listener_(listenOnLoopback()),
      port_(portOf(listener_)),
      process_((writeConfiguration(protocol, origin, directives), "/usr/bin/setpriv"),
               {"--pdeathsig", "TERM", program, "-c", folder_.path() / "nginx.conf"},
               {.environment = {"NGINX=3;"},
                .standardError = ChildOptions::StandardError::discarded,
                .descriptors = {{3, listener_.number()}}}) {}

Nginx::~Nginx() {
  process_.kill(SIGTERM);  // its worker process would survive a SIGKILL
  process_.awaitEnd();
}

void Nginx::writeConfiguration(Protocol protocol, const std::string& origin,
                               const std::string& directives) const {
  writeKey(identity_, folder_.path() / "key.pem");
  std::string text = replaced(configuration, "FOLDER", folder_.path());
  text = replaced(text, "PORT", std::to_string(port_));
  text = replaced(text, "PROTOCOL", protocol == Protocol::http2 ? "http2" : "");
  text = replaced(text, "DIRECTIVES", directives);
  text = replaced(text, "CERTIFICATE", identity_.certificateFile());
  std::ofstream(folder_.path() / "nginx.conf") << replaced(text, "ORIGIN", origin);
}

}  // namespace corvane::test
