#include "SelfSignedCertificate.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>

namespace tolvana::server {

namespace {

template <class T, void (*Free)(T*)>
using Owned = std::unique_ptr<T, decltype([](T* p) { Free(p); })>;

bool addExtension(X509* certificate, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  Owned<X509_EXTENSION, X509_EXTENSION_free> extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
  return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

bool writePem(const std::string& path, auto write) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (!file) return false;
  bool written = write(file) == 1;
  return std::fclose(file) == 0 && written;
}

}  // namespace

bool writeSelfSignedCertificate(const std::string& certificatePath, const std::string& keyPath, std::string* error) {
  Owned<EVP_PKEY, EVP_PKEY_free> key(EVP_EC_gen("P-256"));
  Owned<X509, X509_free> certificate(X509_new());
  if (!key || !certificate) {
    *error = "cannot create a key";
    return false;
  }
  X509_set_version(certificate.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -60);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 24 * 3600);
  X509_set_pubkey(certificate.get(), key.get());
  X509_NAME* name = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("127.0.0.1"), -1, -1, 0);
  X509_set_issuer_name(certificate.get(), name);
  bool ok = addExtension(certificate.get(), NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost") &&
            addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE") &&
            X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0;
  ok = ok && writePem(certificatePath, [&](std::FILE* f) { return PEM_write_X509(f, certificate.get()); }) &&
       writePem(keyPath, [&](std::FILE* f) {
         return PEM_write_PrivateKey(f, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
       });
  if (!ok) *error = "cannot make or write the certificate";
  return ok;
}

}  // namespace tolvana::server
