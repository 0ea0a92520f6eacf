// Layout of the rollback journal, the file "<database file>-journal".
//
// While a transaction is under way the journal holds the original bytes of
// every page of the database file that the transaction changes, and the
// file's original length; rolling back writes those pages back and cuts the
// file to that length. All numbers are big-endian.
//
// Header (one sector at offset 0, so that writing or clearing it never tears
// a record):
//
// | Offset | Size | Field                                                   |
// |--------|------|---------------------------------------------------------|
// | 0      | 8    | magic: the bytes "PrvxJrnl"                             |
// | 8      | 4    | format version: 1                                       |
// | 12     | 4    | page size P (a power of two, 512 to 65536)              |
// | 16     | 8    | nonce: a random number, new for every transaction       |
// | 24     | 8    | original length of the database file in bytes           |
// | 32     | 8    | checksum of bytes 0-31 (JournalChecksum, seed 0)        |
// | 40     | 472  | zero                                                    |
//
// Page records, back to back from offset 512, each 16 + P bytes:
//
// | Offset | Size | Field                                                   |
// |--------|------|---------------------------------------------------------|
// | 0      | 4    | page number N: the page holds file bytes N*P to N*P+P-1 |
// | 4      | 4    | zero                                                    |
// | 8      | P    | the page's original bytes (zeros past the original end) |
// | 8 + P  | 8    | checksum of bytes 0 to 8+P-1 (JournalChecksum, seed =   |
// |        |      | the nonce)                                              |
//
// There is no record count: the records end at the first one that is short,
// whose checksum does not match (torn, or left from an earlier transaction,
// whose nonce differs), or whose page lies wholly past the original length.
// That is safe because the database file is written only after every record
// before the write was synced: a record that did not survive belongs to a
// page the database file never received. A header whose magic, version, page
// size or checksum is wrong makes the journal spent (nothing to roll back);
// the writer clears the header once the database file is synced, and that is
// the commit point.
#pragma once

#include <cstddef>
#include <cstdint>

namespace parvex {

constexpr char kJournalSuffix[] = "-journal";

constexpr uint8_t kJournalMagic[8] = {'P', 'r', 'v', 'x', 'J', 'r', 'n', 'l'};
constexpr uint32_t kJournalVersion = 1;
constexpr uint32_t kJournalMinPageSize = 512;
constexpr uint32_t kJournalMaxPageSize = 65536;

constexpr size_t kJournalHeaderSize = 512;
constexpr size_t kJournalMagicOffset = 0;
constexpr size_t kJournalVersionOffset = 8;
constexpr size_t kJournalPageSizeOffset = 12;
constexpr size_t kJournalNonceOffset = 16;
constexpr size_t kJournalOriginalLengthOffset = 24;
constexpr size_t kJournalHeaderChecksumOffset = 32;

constexpr size_t kJournalRecordPageNumberOffset = 0;
constexpr size_t kJournalRecordPageOffset = 8;
constexpr size_t kJournalRecordOverhead = 16;  // page number, zero word, checksum

// A 64-bit checksum of `count` bytes (byte order independent of the machine).
uint64_t JournalChecksum(uint64_t seed, const uint8_t* bytes, size_t count);

}  // namespace parvex
