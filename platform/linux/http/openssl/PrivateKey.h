#ifndef HTTP_OPENSSL_PRIVATEKEY_H
#define HTTP_OPENSSL_PRIVATEKEY_H

#include "OpenSsl.h"
#include "http/IPrivateKey.h"

#include <string>
#include <string_view>

namespace http {

class PrivateKey : public IPrivateKey {
public:
    /// content: PEM or DER; PKCS#8 or the older form of the key's kind; encrypted or not.
    PrivateKey(std::string_view content, const std::string& password);

    bool isValid() const override;
    bool save(const std::string& path, const std::string& password) const override;

private:
    const KeyPtr key_; ///< empty: it did not parse
};

} // namespace http

#endif
