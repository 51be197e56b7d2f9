// SPDX-License-Identifier: Apache-2.0
#include "TestCa.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <chrono>
#include <stdexcept>

namespace {

struct Free {
    void operator()(EVP_PKEY* key) const { ::EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { ::X509_free(certificate); }
    void operator()(BIO* bio) const { ::BIO_free(bio); }
};
using Key = std::unique_ptr<EVP_PKEY, Free>;
using Certificate = std::unique_ptr<X509, Free>;

void require(bool good, const char* what) {
    if (!good)
        throw std::runtime_error(std::string("test certificate: ") + what);
}

Key makeKey() {
    Key key(::EVP_EC_gen("P-256"));
    require(key != nullptr, "key");
    return key;
}

template <typename Write>
std::string pem(Write write) {
    const std::unique_ptr<BIO, Free> bio(::BIO_new(::BIO_s_mem()));
    require(write(bio.get()) == 1, "PEM");
    char* data = nullptr;
    const long size = ::BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

std::string pemOf(X509* certificate) {
    return pem([&](BIO* bio) { return ::PEM_write_bio_X509(bio, certificate); });
}

std::string pemOf(EVP_PKEY* key, const std::string& password) {
    return pem([&](BIO* bio) {
        return ::PEM_write_bio_PKCS8PrivateKey(
            bio, key, password.empty() ? nullptr : ::EVP_aes_128_cbc(), password.data(),
            static_cast<int>(password.size()), nullptr, nullptr);
    });
}

/// No time is handed to the library, whose own are 32 bits wide on some systems.
void setFromNow(ASN1_TIME* time, std::chrono::seconds distance) {
    const auto wholeDays = std::chrono::duration_cast<std::chrono::days>(distance);
    require(::X509_time_adj_ex(time, static_cast<int>(wholeDays.count()),
                               static_cast<long>((distance - wholeDays).count()),
                               nullptr) != nullptr,
            "validity");
}

/// A certificate without extensions and signature.
Certificate blank(const std::string& name, EVP_PKEY* key, TestCa::Validity validity) {
    Certificate certificate(::X509_new());
    require(certificate != nullptr, "new");
    ::X509_set_version(certificate.get(), X509_VERSION_3);
    long serial = 0;
    ::RAND_bytes(reinterpret_cast<unsigned char*>(&serial), 4);
    ::ASN1_INTEGER_set(::X509_get_serialNumber(certificate.get()), serial);
    setFromNow(::X509_getm_notBefore(certificate.get()), validity.from);
    setFromNow(::X509_getm_notAfter(certificate.get()), validity.to);
    ::X509_NAME_add_entry_by_txt(::X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                                 reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    ::X509_set_pubkey(certificate.get(), key);
    return certificate;
}

void addExtension(X509* certificate, X509* issuer, int type, const std::string& value) {
    X509V3_CTX context;
    ::X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = ::X509V3_EXT_conf_nid(nullptr, &context, type, value.c_str());
    require(extension != nullptr, value.c_str());
    ::X509_add_ext(certificate, extension, -1);
    ::X509_EXTENSION_free(extension);
}

} // namespace

struct TestCa::Impl {
    Key key = makeKey();
    Certificate certificate;
    std::string text;

    TestIdentity issue(const std::string& name, const std::string& usage, const std::string& names,
                       Validity validity, const std::string& keyPassword) const {
        const Key ownKey = makeKey();
        const Certificate own = blank(name, ownKey.get(), validity);
        ::X509_set_issuer_name(own.get(), ::X509_get_subject_name(certificate.get()));
        addExtension(own.get(), certificate.get(), NID_basic_constraints, "critical,CA:FALSE");
        addExtension(own.get(), certificate.get(), NID_ext_key_usage, usage);
        if (!names.empty())
            addExtension(own.get(), certificate.get(), NID_subject_alt_name, names);
        require(::X509_sign(own.get(), key.get(), ::EVP_sha256()) > 0, "signature");
        return {pemOf(own.get()), pemOf(ownKey.get(), keyPassword)};
    }
};

TestCa::TestCa(const std::string& name) : TestCa(name, Validity()) {}

TestCa::TestCa(const std::string& name, Validity validity) : impl_(std::make_unique<Impl>()) {
    impl_->certificate = blank(name, impl_->key.get(), validity);
    X509* own = impl_->certificate.get();
    ::X509_set_issuer_name(own, ::X509_get_subject_name(own));
    addExtension(own, own, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(own, own, NID_key_usage, "critical,keyCertSign,cRLSign");
    require(::X509_sign(own, impl_->key.get(), ::EVP_sha256()) > 0, "signature");
    impl_->text = pemOf(own);
}

TestCa::~TestCa() = default;

const std::string& TestCa::certificate() const {
    return impl_->text;
}

TestIdentity TestCa::issueServer(const std::vector<std::string>& names, Validity validity) const {
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "" : ",") + name;
    return impl_->issue("server", "serverAuth", list, validity, {});
}

TestIdentity TestCa::issueServer(const std::vector<std::string>& names) const {
    return issueServer(names, {});
}

TestIdentity TestCa::issueClient(const std::string& name, const std::string& keyPassword) const {
    return impl_->issue(name, "clientAuth", {}, {}, keyPassword);
}

TestIdentity TestCa::issueClient(const std::string& name, Validity validity) const {
    return impl_->issue(name, "clientAuth", {}, validity, {});
}
