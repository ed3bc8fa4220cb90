// Log line encryption: the stretch of a line from the blank-delimited word
// holding its first backslash to the word holding its last is replaced by
// RSA ciphertext in Base64 (raw RSA over zero-filled 64-byte blocks with the
// program's public key), or by "str size:N" when encryption is disallowed or
// has failed once in this process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

std::u16string EncodeLogLine(const std::u16string& line);
std::u16string EncryptLogText(const std::u16string& span);

// RFC 4648 Base64. flags bit 0: no '=' padding; bit 1: no line breaks
// (otherwise CR LF every 76 characters). False when an argument is null or the
// buffer is too small; *written receives the length written (no terminator
// counted; one is written when room is left).
bool Base64Encode(const uint8_t* data, size_t length, char* buffer, size_t bufferSize, uint32_t flags,
                  size_t* written);

// The latched failure flag.
bool HasLogEncoderFailed();

// Tests only: clears the failure latch.
void ResetLogEncoderForTesting();
