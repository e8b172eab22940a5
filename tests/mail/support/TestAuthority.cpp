#include "tests/mail/support/TestAuthority.h"

#include <memory>
#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <stdexcept>

namespace vesk::test {

namespace {

template <auto release>
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    release(object);
  }
};
using Key = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;
using X509Certificate = std::unique_ptr<X509, Releaser<X509_free>>;
using Bytes = std::unique_ptr<BIO, Releaser<BIO_free_all>>;

void require(bool succeeded) {
  if (!succeeded) throw std::runtime_error("OpenSSL can't make a certificate.");
}

std::string textOf(const Bytes& bytes) {
  char* begin = nullptr;
  const long size = BIO_get_mem_data(bytes.get(), &begin);
  return {begin, static_cast<std::size_t>(size)};
}

Bytes reading(const std::string& text) { return Bytes(BIO_new_mem_buf(text.data(), static_cast<int>(text.size()))); }

void addExtension(X509* certificate, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, Releaser<X509_EXTENSION_free>> extension(
      X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  require(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

// Signed by itself when there is no issuer.
Certificate make(const CertificateRequest& request, const Certificate* issuer, bool isAuthority) {
  static long serial = 1;
  const Key key(EVP_EC_gen("P-256"));
  const X509Certificate made(X509_new());
  require(key && made);
  X509_set_version(made.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(made.get()), serial++);
  X509_gmtime_adj(X509_getm_notBefore(made.get()), request.validFrom);
  X509_gmtime_adj(X509_getm_notAfter(made.get()), request.validTo);
  X509_set_pubkey(made.get(), key.get());
  const auto* name = reinterpret_cast<const unsigned char*>(request.host.c_str());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(made.get()), "CN", MBSTRING_UTF8, name, -1, -1, 0);
  addExtension(made.get(), NID_basic_constraints, isAuthority ? "critical,CA:TRUE" : "CA:FALSE");
  if (!isAuthority) addExtension(made.get(), NID_subject_alt_name, "DNS:" + request.host);

  X509Certificate issuing;
  Key issuingKey;
  if (issuer) {
    issuing.reset(PEM_read_bio_X509(reading(issuer->certificate).get(), nullptr, nullptr, nullptr));
    issuingKey.reset(PEM_read_bio_PrivateKey(reading(issuer->key).get(), nullptr, nullptr, nullptr));
  }
  X509_set_issuer_name(made.get(), X509_get_subject_name(issuing ? issuing.get() : made.get()));
  require(X509_sign(made.get(), issuingKey ? issuingKey.get() : key.get(), EVP_sha256()) != 0);

  const Bytes certificate(BIO_new(BIO_s_mem()));
  const Bytes privateKey(BIO_new(BIO_s_mem()));
  require(PEM_write_bio_X509(certificate.get(), made.get()) == 1);
  require(PEM_write_bio_PrivateKey(privateKey.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
  return {.certificate = textOf(certificate), .key = textOf(privateKey)};
}

}  // namespace

TestAuthority::TestAuthority() : own_(make({.host = "Test authority"}, nullptr, true)) {}

Certificate TestAuthority::issue(const CertificateRequest& request) const { return make(request, &own_, false); }

Certificate TestAuthority::selfSigned() { return make({}, nullptr, false); }

}  // namespace vesk::test
