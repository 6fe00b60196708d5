#include "http/Certificate.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <memory>
#include <set>
#include <stdexcept>

namespace corvane::sandbox {
namespace {

void require(bool success) {
  if (success) return;
  char text[256] = "";
  ERR_error_string_n(ERR_get_error(), text, sizeof text);
  throw std::runtime_error(std::string("cannot make a certificate: ") + text);
}

void addExtension(X509* certificate, int identifier, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
      X509V3_EXT_conf_nid(nullptr, &context, identifier, value.c_str()), &X509_EXTENSION_free);
  require(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

/// The addresses that a client may reach the listener on `address` by: all of this machine's when it listens
/// everywhere, so that a phone which comes by one of them finds it in the certificate.
std::set<std::string> addressesOf(const std::string& address) {
  std::set<std::string> found = {"127.0.0.1", "::1", address};
  if (address != "0.0.0.0" && address != "::") return found;
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return found;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
  for (const ifaddrs* next = list; next; next = next->ifa_next) {
    char text[INET6_ADDRSTRLEN] = "";
    const void* bytes = nullptr;
    if (next->ifa_addr && next->ifa_addr->sa_family == AF_INET)
      bytes = &reinterpret_cast<const sockaddr_in*>(next->ifa_addr)->sin_addr;
    if (next->ifa_addr && next->ifa_addr->sa_family == AF_INET6)
      bytes = &reinterpret_cast<const sockaddr_in6*>(next->ifa_addr)->sin6_addr;
    if (bytes && inet_ntop(next->ifa_addr->sa_family, bytes, text, sizeof text)) found.insert(text);
  }
  return found;
}

void fill(X509* certificate, const std::string& address) {
  constexpr long slack = 60L * 60;  // for a client whose clock is a little behind
  constexpr long year = 365L * 24 * 60 * 60;
  std::uint64_t serial = 0;
  require(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1);
  require(X509_set_version(certificate, X509_VERSION_3) == 1);
  require(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1 | 1) == 1);
  require(X509_gmtime_adj(X509_getm_notBefore(certificate), -slack) != nullptr);
  require(X509_gmtime_adj(X509_getm_notAfter(certificate), year) != nullptr);

  X509_NAME* name = X509_get_subject_name(certificate);
  const std::string commonName = "corvane-sandbox";
  require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                     reinterpret_cast<const unsigned char*>(commonName.data()),
                                     static_cast<int>(commonName.size()), -1, 0) == 1);
  require(X509_set_issuer_name(certificate, name) == 1);

  std::string names = "DNS:localhost";
  for (const std::string& each : addressesOf(address)) names += ",IP:" + each;
  addExtension(certificate, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
  addExtension(certificate, NID_key_usage, "critical,digitalSignature,keyCertSign");
  addExtension(certificate, NID_ext_key_usage, "serverAuth");
  addExtension(certificate, NID_subject_key_identifier, "hash");
  addExtension(certificate, NID_subject_alt_name, names);
}

std::string asPEM(X509* certificate) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> output(BIO_new(BIO_s_mem()), &BIO_free);
  require(output && PEM_write_bio_X509(output.get(), certificate) == 1);
  char* data = nullptr;
  const long size = BIO_get_mem_data(output.get(), &data);
  return std::string(data, static_cast<std::size_t>(size));
}

}  // namespace

Certificate makeCertificate(const std::string& address) {
  const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
  const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), &X509_free);
  require(key && certificate && X509_set_pubkey(certificate.get(), key.get()) == 1);
  fill(certificate.get(), address);
  require(X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0);
  const TLSContext context(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free);
  require(context && SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) == 1);
  require(SSL_CTX_use_certificate(context.get(), certificate.get()) == 1);
  require(SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1);
  return {.pem = asPEM(certificate.get()), .context = context};
}

}  // namespace corvane::sandbox
