#!/usr/bin/env bash
# Writes the seed corpora of the fuzz targets, fuzz/corpus/<target>/<name>, from the byte
# vectors of the payload and host tests. Run it after changing a vector here; the files are
# kept in the repository. Usage: fuzz/make_corpus.sh
set -euo pipefail
corpus="$(cd "$(dirname "$0")" && pwd)/corpus"

# seed TARGET NAME HEX...: one file of the bytes given in hex (spaces ignored).
seed() {
  local target=$1 name=$2
  shift 2
  mkdir -p "$corpus/$target"
  local hex
  hex=$(printf '%s' "$*" | tr -d ' ')
  local bytes=""
  for ((i = 0; i < ${#hex}; i += 2)); do
    bytes+="\\x${hex:i:2}"
  done
  printf "$bytes" >"$corpus/$target/$name"
}

# Responses: the shortest good payload of each Output, the widened and cut forms the reader must
# treat in their own ways, and application error payloads.
r=someip_response_fuzz
seed $r empty ""
seed $r 0x2C55_minimal "00000001 A1 00000011 0102030405060708090A0B0C0D0E0F1011"
seed $r 0x2C55_widened_first_array "00000003 A1EEEE 00000011 0102030405060708090A0B0C0D0E0F1011"
seed $r 0x2C56_minimal "07 1234"
seed $r 0x2C57_minimal "01 02 00000000"
seed $r 0x2C60_nine_bytes "01 02 00000003 AABBCC"
seed $r 0x2C60_vector_past_the_end "01 02 FFFFFFFF AA"
seed $r 0x0648_minimal "01 02 00000000"
seed $r 0xC00A_minimal "01 02"
seed $r 0xC00C_minimal "00000001 A1 00000001 B2 00000010 202122232425262728292A2B2C2D2E2F"
seed $r 0xC00C_hash_length_15 "00000001 A1 00000001 B2 0000000F 202122232425262728292A2B2C2D2E2F30"
seed $r 0xC00F_twelve_bytes "01020304050607 ABCD 09 0A 0B"
seed $r error_code_2_routine "02 31 7F"
seed $r error_routine_one_byte "22"

# Tester requests: reads, writes and the three routine controls of the served identifiers, Start
# option bytes of each argument shape, session control and tester present, and requests the
# host refuses.
u=uds_request_fuzz
seed $u read_0x2C56 "22 2C56"
seed $u read_three_dids "22 2C55 F190 2C60"
seed $u read_odd_length "22 2C56 01"
seed $u write_0x2C57 "2E 2C57 00 01 02"
seed $u start_0x0648_byte_and_vector "31 01 0648 07 AABB"
seed $u start_0xC00B_arrays "31 01 C00B 5A 101112131415161718191A1B1C1D1E1F"
seed $u start_0xC00F_suppressed "31 81 C00F 00"
seed $u stop_0xC00D "31 02 C00D 00"
seed $u results_0xC00A "31 03 C00A"
seed $u routine_unknown_type "31 04 C00F"
seed $u unknown_service "19 02 08"
seed $u session_extended "10 03"
seed $u session_programming "10 02"
seed $u tester_present "3E 00"
seed $u tester_present_suppressed "3E 80"
seed $u read_nine_dids "22 2C56 2C56 2C56 2C56 2C56 2C56 2C56 2C56 2C56"
seed $u start_0xC00F_final_0x78 "31 01 C00F 78"

# What arrives on a SOME/IP socket: one request, several messages in one datagram, a message cut
# short, length fields below 8 and huge, magic cookies, an ERROR answer.
m=someip_message_fuzz
seed $m request "4C55 0001 0000000A 0101 0007 01 01 00 00 AABB"
seed $m three_messages "4C55 0001 00000008 0101 0001 01 01 00 00  4C55 0002 00000009 0101 0002 01 01 00 00 07  4C55 0003 00000008 0101 0003 01 01 00 00"
seed $m cut_short "4C55 0001 00000010 0101 0007 01 01 00 00 AABB"
seed $m length_below_8 "4C55 0001 00000007 0101 0007 01 01 00 00"
seed $m length_huge "4C55 0001 FFFFFFFF 0101 0007 01 01 00 00 AABB"
seed $m cookies "FFFF 0000 00000008 DEAD BEEF 01 01 01 00  4C55 0001 00000008 0101 0007 01 01 00 00  FFFF 8000 00000008 DEAD BEEF 01 01 02 00"
seed $m error_answer "4C55 0002 00000009 0101 0007 01 01 81 21 05"
seed $m wrong_protocol "4C55 0001 00000008 0101 0007 02 01 00 00"
seed $m header_tail "4C55 0001 00000008 0101 0007 01 01 00 00 4C55 00"

# SOME/IP-SD payloads: a Find, an Offer with UDP and TCP endpoints, a StopOffer, a Subscribe with
# a configuration option, an unknown option, a run out of range, lengths that do not fit.
s=someip_sd_fuzz
seed $s find "C0000000 00000010 00000000 4C56FFFF FFFFFFFF FFFFFFFF 00000000"
seed $s offer_udp_tcp "C0000000 00000010 01000020 4C550001 01000003 00000000 00000018 0009040 07F000002 00117725 0009040 07F000002 00067726"
seed $s stop_offer "40000000 00000010 01000010 4C550001 01000000 00000000 0000000C 00090400 7F000002 00117725"
seed $s subscribe_configuration "40000000 00000010 06000010 4C550001 01000003 00020010 0000000C 00080100 03613D62 0100"
seed $s unknown_option "40000000 00000010 01000020 4C550001 01000003 00000000 00000012 00037E00 AABB 00090400 7F000002 00117725"
seed $s run_out_of_range "40000000 00000010 01050010 4C550001 01000003 00000000 00000000"
seed $s entries_length_off "40000000 0000000F 00000000"
seed $s option_past_end "40000000 00000000 00000004 0009 0400"
