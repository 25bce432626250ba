#pragma once

// What a certificate says, in the words that every front end shows.

#include <string>

#include "window/certificate_view.h"

// "2026-01-31 to 2027-01-31", and a mark where today lies outside.
std::string ValidityOf(const CertificateView& certificate);
// What it is for, as "client authentication, e-mail protection"; "any" where it names nothing.
std::string UsesOf(const CertificateView& certificate);
// What its key is for, as "digital signature, key encipherment"; "any" where it names nothing.
std::string KeyUsesOf(const CertificateView& certificate);
