// SPDX-License-Identifier: Apache-2.0
#include "CertificateMaker.h"

#include "support/process/ChildProcess.h"

#include <gtest/gtest.h>

#include <utility>

CertificateMaker::CertificateMaker() {
    writeHostFile(file("index"), "");
}

std::string CertificateMaker::make(const std::string& name) {
    Request request;
    request.name = name;
    return make(request);
}

std::string CertificateMaker::make(const Request& request) {
    writeHostFile(file("config"), "[ca]\ndefault_ca=d\n[d]\nnew_certs_dir=" + directory_.path() +
                                      "\ndatabase=" + file("index") +
                                      "\nrand_serial=yes\ndefault_md=sha256\npolicy=p\n"
                                      "unique_subject=no\n[p]\ncommonName=supplied\n[x]\n" +
                                      request.extensions +
                                      "\n[req]\ndistinguished_name=dn\n[dn]\n");
    const std::string key = file(request.name + ".key");
    const std::string certificate = file(request.name + ".pem");
    writeHostFile(key, makeKey());
    openssl({"req", "-new", "-config", file("config"), "-key", key, "-subj", "/CN=" + request.name,
             "-out", file("request")});
    std::vector<std::string> arguments{"ca",           "-batch",     "-notext",       "-config",
                                       file("config"), "-in",        file("request"), "-out",
                                       certificate,    "-startdate", request.begin,   "-enddate",
                                       request.end};
    if (!request.extensions.empty())
        arguments.insert(arguments.end(), {"-extensions", "x"});
    if (request.issuer.empty())
        arguments.insert(arguments.end(), {"-selfsign", "-keyfile", key});
    else
        arguments.insert(arguments.end(), {"-keyfile", file(request.issuer + ".key"), "-cert",
                                           file(request.issuer + ".pem")});
    openssl(std::move(arguments));
    return readHostFile(certificate);
}

std::string CertificateMaker::makeKey(const std::string& algorithm) {
    std::vector<std::string> arguments{"genpkey", "-algorithm", algorithm};
    if (algorithm == "EC")
        arguments.insert(arguments.end(), {"-pkeyopt", "ec_paramgen_curve:P-256"});
    return openssl(std::move(arguments));
}

std::string CertificateMaker::toDer(const std::string& pem) {
    return openssl({"x509", "-outform", "DER"}, pem);
}

std::string CertificateMaker::openssl(std::vector<std::string> arguments,
                                      const std::string& input) {
    const std::string in = file("in");
    const std::string out = file("out");
    const std::string errors = file("errors");
    writeHostFile(in, input);
    arguments.insert(
        arguments.begin(),
        {"sh", "-c", "exec openssl \"$@\" < " + in + " > " + out + " 2> " + errors, "openssl"});
    const Finished finished = run(std::move(arguments));
    EXPECT_EQ(finished.status, 0) << readHostFile(errors);
    return readHostFile(out);
}
