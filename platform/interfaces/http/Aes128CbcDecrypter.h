#ifndef HTTP_AES128CBCDECRYPTER_H
#define HTTP_AES128CBCDECRYPTER_H

#include "http/IDecrypter.h"

#include <string>

namespace http {

/// Files made by: openssl enc -aes-128-cbc -pbkdf2 -pass file:KEYFILE
class Aes128CbcDecrypter : public IDecrypter {
public:
    /// keyFile: path of the file whose first line is the password; read at each decryption.
    explicit Aes128CbcDecrypter(std::string keyFile);

    std::string decrypt(const std::string& path) override;

private:
    std::string keyFile_;
};

} // namespace http

#endif
