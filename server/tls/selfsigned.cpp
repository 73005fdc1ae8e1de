#include "tls/selfsigned.h"

#include "common/privatefiles.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace tessly::server {

namespace {

template<typename T, void (*Free)(T *)> struct Deleter
{
    void operator()(T *p) const { Free(p); }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY, EVP_PKEY_free>>;
using CertPtr = std::unique_ptr<X509, Deleter<X509, X509_free>>;
using ExtPtr = std::unique_ptr<X509_EXTENSION, Deleter<X509_EXTENSION, X509_EXTENSION_free>>;

void require(bool ok, const char *what)
{
    if (!ok)
        throw std::runtime_error(std::string("self-signed certificate: ") + what);
}

std::string subjectAltNames(const std::vector<std::string> &extraHosts)
{
    std::string names = "DNS:localhost,DNS:*.localhost,IP:127.0.0.1,IP:::1";
    for (const std::string &host : extraHosts)
        if (!host.empty())
            names += ",DNS:" + host;
    return names;
}

void addExtension(X509 *cert, int nid, const std::string &value)
{
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, cert, cert, nullptr, nullptr, 0);
    ExtPtr ext(X509V3_EXT_conf_nid(nullptr, &ctx, nid, value.c_str()));
    require(ext && X509_add_ext(cert, ext.get(), -1) == 1, "extension");
}

void writePem(const std::string &path, bool privateKey, EVP_PKEY *key, X509 *cert)
{
    // The key is never readable by others, not even for a moment: its file
    // is created 0600 rather than narrowed afterwards.
    const std::string temp = path + ".tmp";
    ::unlink(temp.c_str());
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, privateKey ? 0600 : 0644);
    std::FILE *file = fd < 0 ? nullptr : ::fdopen(fd, "wb");
    if (fd >= 0 && !file)
        ::close(fd);
    require(file != nullptr, "cannot write the certificate files");
    bool ok = privateKey ? PEM_write_PrivateKey(file, key, nullptr, nullptr, 0, nullptr, nullptr) == 1
                         : PEM_write_X509(file, cert) == 1;
    ok = std::fclose(file) == 0 && ok;
    require(ok, "cannot write the certificate files");
    std::filesystem::rename(temp, path);
}

} // namespace

CertificatePaths ensureSelfSignedCertificate(const std::string &dir, const std::vector<std::string> &extraHosts)
{
    CertificatePaths paths { dir + "/cert.pem", dir + "/key.pem" };
    if (std::filesystem::exists(paths.certificate) && std::filesystem::exists(paths.privateKey))
        return paths;
    makePrivateFolder(dir);

    KeyPtr key(EVP_EC_gen("P-256"));
    require(key != nullptr, "key generation");
    CertPtr cert(X509_new());
    require(cert != nullptr, "allocation");
    X509_set_version(cert.get(), 2);
    unsigned char serial[16];
    RAND_bytes(serial, sizeof serial);
    serial[0] &= 0x7f;
    BIGNUM *number = BN_bin2bn(serial, sizeof serial, nullptr);
    BN_to_ASN1_INTEGER(number, X509_get_serialNumber(cert.get()));
    BN_free(number);
    X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(cert.get()), 10L * 365 * 24 * 3600);
    X509_set_pubkey(cert.get(), key.get());
    X509_NAME *name = X509_get_subject_name(cert.get());
    X509_NAME_add_entry_by_txt(
        name, "O", MBSTRING_ASC, reinterpret_cast<const unsigned char *>("Tessly Cloud"), -1, -1, 0);
    X509_NAME_add_entry_by_txt(
        name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char *>("localhost"), -1, -1, 0);
    X509_set_issuer_name(cert.get(), name);
    addExtension(cert.get(), NID_subject_alt_name, subjectAltNames(extraHosts));
    addExtension(cert.get(), NID_basic_constraints, "critical,CA:TRUE");
    addExtension(cert.get(), NID_key_usage, "critical,digitalSignature,keyCertSign");
    addExtension(cert.get(), NID_ext_key_usage, "serverAuth");
    require(X509_sign(cert.get(), key.get(), EVP_sha256()) > 0, "signing");

    writePem(paths.privateKey, true, key.get(), cert.get());
    writePem(paths.certificate, false, key.get(), cert.get());
    return paths;
}

} // namespace tessly::server
