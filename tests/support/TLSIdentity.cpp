#include "support/TLSIdentity.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace corvane::test {

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(std::string("cannot make a TLS identity: ") + what);
}

void addExtension(X509* certificate, int kind, const std::string& value) {
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
      X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str()), X509_EXTENSION_free);
  require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "extension");
}

Certificate certify(EVP_PKEY* key, const std::string& names) {
  Certificate certificate(X509_new(), X509_free);
  X509* const x509 = certificate.get();
  X509_set_version(x509, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(x509), 1);
  X509_gmtime_adj(X509_getm_notBefore(x509), -3600);
  X509_gmtime_adj(X509_getm_notAfter(x509), 24 * 3600);
  X509_NAME* const name = X509_get_subject_name(x509);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char*>("loopback"),
                             -1, -1, 0);
  X509_set_issuer_name(x509, name);
  X509_set_pubkey(x509, key);
  addExtension(x509, NID_basic_constraints, "critical,CA:TRUE");
  addExtension(x509, NID_subject_alt_name, names);
  require(X509_sign(x509, key, EVP_sha256()) > 0, "signature");
  return certificate;
}

File create(const std::string& path) {
  File file(std::fopen(path.c_str(), "wx"), std::fclose);
  require(file != nullptr, path.c_str());
  return file;
}

}  // namespace

TLSIdentity::TLSIdentity(const std::string& names) {
  std::string pattern = std::filesystem::temp_directory_path() / "corvane-tls-XXXXXX";
  require(mkdtemp(pattern.data()) != nullptr, "folder");
  folder_ = pattern;
  const Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);
  require(key != nullptr, "key");
  const Certificate certificate = certify(key.get(), names);
  require(PEM_write_X509(create(certificateFile()).get(), certificate.get()) == 1, "certificate");
  require(
      PEM_write_PrivateKey(create(keyFile()).get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
      "key file");
}

TLSIdentity::~TLSIdentity() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

}  // namespace corvane::test
