#pragma once

// Splitting and checking text, comparing dotted identifiers, and typed values to text and back. All work in
// place on NUL-terminated texts of the caller; none logs.

// 1 when the text is a decimal integer with an optional sign, else 0; a null or empty text gives 0. A lone
// sign counts as a number: callers rely on it.
int Nisdigit(const char* text);

// Takes the next token of a text that is split at any character of delimiters; the text is overwritten. A
// null text goes on from the cursor, which the caller keeps between calls. Returns the token, or null when
// there is none left. Unlike strtok: leading delimiters give an empty first token, and a text that ends in
// delimiters gives an empty last one. A run of delimiters behind a token counts as one.
char* Nstrtok(char* text, const char* delimiters, char** cursor);

// The same with one separator of several characters: repeated separators are not collapsed, so there is an
// empty token between two of them. An empty separator is never found.
char* Nstrstrtok(char* text, const char* separator, char** cursor);

// Compares two dotted numeric identifiers such as 1.3.6.1 part by part, as numbers: -1, 0 or 1. A prefix
// sorts before the longer one. Identifiers are cut at 15 characters and their parts at 9; a null identifier
// has no parts.
int NOidCmp(const char* left, const char* right);

// Type codes of NValueVtoA and NValueAtoV. They are the tag numbers of the SNMP structure of management
// information where it has them; 0x01, 0x09 and 0xC0 to 0xC2 are our own.
constexpr unsigned char VALUE_INT8 = 0x01;
constexpr unsigned char VALUE_INT32 = 0x02;
constexpr unsigned char VALUE_OCTETS = 0x04;
constexpr unsigned char VALUE_NULL = 0x05;
constexpr unsigned char VALUE_OID = 0x06;
constexpr unsigned char VALUE_FLOAT = 0x09;
constexpr unsigned char VALUE_ADDRESS = 0x40;
constexpr unsigned char VALUE_GAUGE = 0x42; // unsigned 32-bit
constexpr unsigned char VALUE_TICKS = 0x43; // unsigned 32-bit
constexpr unsigned char VALUE_OPAQUE = 0xC0;
constexpr unsigned char VALUE_INT64 = 0xC1;
constexpr unsigned char VALUE_BYTES = 0xC2;

constexpr int VALUE_TEXT_SIZE = 128; // bytes of the text buffer that NValueVtoA expects

// Turns a typed value into text. value points to a value of the type, or to length bytes for the byte types
// (VALUE_OCTETS, VALUE_OID, VALUE_ADDRESS, VALUE_OPAQUE, VALUE_BYTES). *text is the caller's buffer, from
// malloc, of at least VALUE_TEXT_SIZE bytes: nothing can check that. Returns *text:
// - numbers: the value in "%d", "%u", "%lld" or "%f", the rest of the first 128 bytes zero;
// - byte types up to 127 bytes: a copy of the bytes, the rest of the first 128 zero;
// - byte types from 128 bytes on: *text is freed (it may be null) and replaced by a block of length + 1 bytes
//   from malloc, the copy and a zero, which is the caller's to free;
// - VALUE_NULL and unknown codes: the empty text.
// Returns null for a negative length (nothing is changed), for a null text, for a null value or buffer where
// one is used, and when there is no memory for the new block (*text is null then). Leaves breadcrumbs 10700
// to 10718.
char* NValueVtoA(const void* value, char** text, unsigned char type, int length);

// Turns a text into a typed value in a new block from malloc, which the caller owns; *block is freed first
// (it may be null), then takes the result. Returns *block:
// - numbers: 1, 4 or 8 bytes with the value, 0 when the text is none; VALUE_INT8 keeps the low byte;
// - byte types: length + 1 zeroed bytes with a copy of the text's first length bytes, or of all when it is
//   shorter;
// - VALUE_NULL: 128 zero bytes, whatever the text.
// Returns null and leaves *block alone for a negative length, for a null or empty text and for a null block;
// returns null with *block null for an unknown code and when there is no memory.
void* NValueAtoV(const char* text, void** block, unsigned char type, int length);

// The word behind the first double quote, cut in place at the first blank behind it; the text itself when it
// has no quote or is null. The cut is at the blank and not at the closing quote, which stays when no blank is
// before it.
char* NCutQmark(char* text);
