#include "discovery/changer_models.h"

#include <algorithm>
#include <iterator>

#include "store/ascii_case.h"

namespace devprep {
namespace {

constexpr std::size_t kVendorSize = 8;
constexpr std::uint32_t kTape = 0x01000000;

// As a CompareLength: the name up to the end of the product, or the vendor field if there is none.
constexpr std::uint32_t kWhole = 0;

void NoModelRoutine() {}

// One row of the table, its name filled up with blanks.
template <std::size_t N>
consteval ChangerModel Row(const char (&name)[N], std::uint32_t compare_length,
                           std::uint32_t attributes, std::uint16_t options_a = 0,
                           std::uint16_t options_b = 0, std::uint16_t options_c = 0,
                           std::uint16_t drives = 0, std::uint16_t slots = 0,
                           std::uint16_t slots_b = 0, std::uint16_t options_d = 0,
                           std::uint16_t options_e = 0) {
  constexpr std::size_t kLength = N - 1;
  static_assert(kLength <= kChangerNameSize);
  ChangerModel row{{},     compare_length, attributes, options_a, options_b, options_c,
                   drives, slots,          slots_b,    options_d, options_e, NoModelRoutine};
  std::fill(std::copy_n(name, kLength, row.Name), std::end(row.Name), ' ');
  if (compare_length == kWhole) {
    const auto product_end = std::find(name, name + kLength, '\t') - name;
    row.CompareLength =
        static_cast<std::uint32_t>(std::max<std::ptrdiff_t>(product_end, kVendorSize));
  }
  return row;
}

}  // namespace

// Names are vendor (8 bytes) and product, filled up with blanks to 28. The tabs, blanks and zeros
// behind some products are never compared, but kept byte for byte: the tape engine's own table has
// them. A row that ends early has 0 in its other columns, which nothing here reads.
//
// clang-format off
constexpr ChangerModel SupportedChangers[kSupportedChangerCount] = {
    //  Name                                  Compare Attributes    A  B  C Drv  Slots   B  D  E
    Row("",                                   24,     0x00000000,   1, 0, 0,  1,  15,  15, 0, 2),
    Row("ACSLS",                              5,      0x01700000,  57, 0, 1, 10, 602,  14, 0, 256),
    Row("SILO-",                              4,      0x01700000,  25, 0, 1, 10, 602,  14, 0, 256),
    Row("ADIC    DAT AutoChanger",            kWhole, 0x01000001,   9, 0, 1,  1,  12,  12, 0, 2),
    Row("ADIC    VLS 8mm",                    kWhole, kTape),
    Row("ADIC    VLS DLT",                    kWhole, kTape),
    Row("ADIC    VLS",                        kWhole, kTape),
    Row("ADIC    FastStor DLT",               kWhole, kTape),
    Row("ADIC    FastStor",                   kWhole, kTape),
    Row("ADIC    Scalar DLT 448",             kWhole, kTape),
    Row("ADIC    Scalar AIT 220",             kWhole, kTape),
    Row("ADIC    Scalar AIT 480",             kWhole, kTape),
    Row("ADIC    Scalar 1000",                kWhole, 0x010E0000, 121, 0, 0, 12, 368, 368, 0, 2),
    Row("ADIC    Scalar 100",                 kWhole, kTape),
    Row("ADIC    Scalar",                     kWhole, 0x01000000,  41, 0, 1,  1,  15,  15, 0, 2),
    Row("ADIC",                               kWhole, 0x01000000,   9, 0, 1,  1,  15,  15, 0, 2),
    Row("AIWA",                               kWhole, kTape),
    Row("ADL     SLA",                        kWhole, kTape),
    Row("ARCHIVE",                            kWhole, kTape),
    Row("ATL     ACL2640",                    kWhole, 0x01100003,  33, 0, 1,  3, 264,  11, 0, 2),
    Row("ATL     ATL7100",                    kWhole, kTape),
    Row("ATL     P1000",                      kWhole, kTape),
    Row("ATL     P2000",                      kWhole, kTape),
    Row("ATL     P3000    6310050",           kWhole, kTape),
    Row("ATL     ACL4/52 6210000",            8,      0x01100000,  33, 0, 1,  4,  48,  48, 0, 2),
    Row("ATL     L500\t\t\t  \t  \0\0\0\0",   kWhole, 0x01100000,  89, 0, 1,  3,  14,   7, 0, 2),
    Row("BHTi    QSX70-70",                   kWhole, 0x01300001, 121, 0, 1,  9,  70,   7, 0, 2),
    Row("BHTi    QSX70-140",                  kWhole, kTape,        0, 0, 0,  0, 140),
    Row("BHTi    QSX70-210",                  kWhole, kTape,        0, 0, 0,  0, 210),
    Row("BHTi    QSX70",                      kWhole, kTape),
    Row("BHTi    Q2",                         kWhole, kTape),
    Row("BHTi    Q4",                         kWhole, kTape),
    Row("BHTi    Quad 7",                     kWhole, kTape),
    Row("BHTi    Quad 47",                    kWhole, kTape),
    Row("TL      NLO-ACSLS",                  11,     0x01700000,  25, 0, 1, 10, 602, 602, 0, 256),
    Row("TL       SIMLIBRARY",                kWhole, 0x01600000,  33, 0, 0, 16,  16,   4, 0, 1),
    Row("TL       OPTICAL",                   kWhole, 0x10000007,  41, 8, 0, 16,  16,   4, 0, 16),
    Row("CIPHER",                             kWhole, kTape),
    Row("COMPAQ  15/30GB",                    kWhole, kTape),
    Row("Compaq  15/30GB",                    kWhole, kTape),
    Row("COMPAQ  35/70 DLT LIB",              13,     kTape),
    Row("COMPAQ  ESL9000",                    12,     kTape),
    Row("COMPAQ  ESL2000",                    12,     kTape),
    Row("COMPAQ  SSL20",                      kWhole, kTape),
    Row("COMPAQ  TSL-9000",                   kWhole, kTape),
    Row("COMPAQ  TL895",                      kWhole, kTape),
    Row("COMPAQ  TL891",                      kWhole, kTape),
    Row("COMPAQ  TL890",                      kWhole, kTape),
    Row("COMPAQ  TL881",                      kWhole, kTape),
    Row("COMPAQ  TSL-10000",                  kWhole, kTape),
    Row("COMPAQ  20/40GB DAT LIB",            19,     kTape),
    Row("COMPAQ  20/40 DLT LIB",              17,     kTape),
    Row("Compaq  TurboDAT",                   kWhole, kTape),
    Row("COMPAQ  12/24GB",                    kWhole, kTape),
    Row("TALVORIN SIMLIBRARY",                kWhole, 0x01600000,  33, 0, 0, 16,  16,   4, 0, 1),
    Row("TALVORIN OPTICAL",                   kWhole, 0x10000007,  41, 8, 0, 16,  16,   4, 0, 16),
    Row("DEC     TL800",                      kWhole, kTape),
    Row("DEC     TL820",                      kWhole, kTape),
    Row("DEC     TL822",                      kWhole, kTape),
    Row("DEC     TL8",                        kWhole, kTape),
    Row("DEC     TLZ6",                       kWhole, kTape),
    Row("DEC     TLZ9",                       kWhole, kTape),
    Row("DEC     TLZ",                        kWhole, kTape),
    Row("DEC     TZ Media Changer",           kWhole, kTape),
    Row("DEC     TZ",                         kWhole, kTape),
    Row("SUN     TZ Media Changer",           kWhole, kTape),
    Row("SGI     TZ Media Changer",           kWhole, kTape),
    Row("DELL    130T",                       kWhole, kTape),
    Row("DELL    PV-120T-DDS4",               kWhole, kTape),
    Row("DELL    PV-120T-DLTAL",              20,     kTape),
    Row("DILOG   SA100",                      kWhole, kTape),
    Row("DISC    D50\t\t        \0\0\0",      kWhole, 0x10000005,  33, 8, 1,  4,  50,  10, 0, 16),
    Row("DISC    D60\t\t        \0\0\0",      kWhole, kOpticalLibrary),
    Row("DISC    D150U1\t        \0",         kWhole, kOpticalLibrary),
    Row("DISC    D245-1\t        \0",         kWhole, kOpticalLibrary),
    Row("DISC    D280U-1\t",                  kWhole, kOpticalLibrary),
    Row("DISC    D525-1\t        \0",         kWhole, kOpticalLibrary),
    Row("DISC    D1050-2\t",                  kWhole, kOpticalLibrary),
    Row("EMASS   AML/S",                      kWhole, kTape),
    Row("EMPRISE Stage3",                     kWhole, kTape),
    Row("EMPRISE",                            kWhole, kTape),
    Row("EXABYTE AutoDat",                    kWhole, kTape),
    Row("EXABYTE Exabyte EZ17",               kWhole, kTape),
    Row("EXABYTE EXB-10e Stage3",             kWhole, kTape),
    Row("EXABYTE Exabyte X80",                kWhole, kTape),
    Row("EXABYTE Exabyte X200",               kWhole, kTape),
    Row("EXABYTE EXB-10",                     kWhole, kTape),
    Row("EXABYTE EXB-60",                     kWhole, kTape),
    Row("EXABYTE EXB-120",                    kWhole, kTape),
    Row("EXABYTE EXB-210",                    kWhole, kTape),
    Row("EXABYTE EXB-218",                    kWhole, kTape),
    Row("EXABYTE EXB-220",                    kWhole, kTape),
    Row("EXABYTE Exabyte 230D",               kWhole, kTape),
    Row("EXABYTE Exabyte 18D",                kWhole, kTape),
    Row("EXABYTE EXB-440",                    kWhole, kTape),
    Row("EXABYTE EXB-480",                    kWhole, kTape),
    Row("EXABYTE Exabyte 690D",               kWhole, kTape),
    Row("FUJITSU M2483",                      kWhole, kTape),
    Row("FUJITSU",                            kWhole, kTape),
    Row("HITACHI GF-C100",                    kWhole, 0x20000001,   1, 0, 1,  1,   5,   5, 0, 32),
    Row("HITACHI DL111-10",                   kWhole, 0x20000002,  33, 0, 2,  4, 100, 100, 0, 32),
    Row("HITACHI ML010-020-1S",               19,     0x01060006,  33, 0, 1,  1,  20,  20, 0, 2),
    Row("HITACHI ML010-020-2S",               19,     kTape,        0, 0, 0,  2),
    Row("HITACHI ML010-040-2S",               19,     kTape),
    Row("HITACHI ML010-035-4S",               19,     kTape,        0, 0, 0,  4),
    Row("HITACHI ML010-090-2S",               19,     kTape),
    Row("HITACHI ML010-085-4S",               19,     kTape),
    Row("HITACHI ML010-140-2S",               19,     kTape),
    Row("HITACHI ML010-135-4S",               19,     kTape),
    Row("HITACHI ML020",                      kWhole, kTape),
    Row("HP      A4845A",                     13,     0x01700000,  57, 0, 1, 10, 602,  14, 0, 2),
    Row("HP      A4846A",                     13,     kTape),
    Row("HP      A4853A",                     13,     kTape),
    Row("HP      A5501",                      12,     kTape),
    Row("HP      A5584A",                     12,     kTape),
    Row("HP      A5597",                      12,     kTape),
    Row("HP      A5617",                      12,     kTape),
    Row("HP      C1553",                      kWhole, kTape),
    Row("HP      C1557",                      kWhole, kTape),
    Row("HP      C6280",                      kWhole, kTape),
    Row("HP      C7200",                      kWhole, kTape),
    Row("HP      C7145",                      kWhole, kTape),
    Row("HP      C1191",                      kWhole, kTape),
    Row("HP      C1192",                      kWhole, kTape),
    Row("HP      C1194",                      kWhole, kTape),
    Row("HP      C5177",                      kWhole, kTape),
    Row("HP      C5151",                      kWhole, kTape),
    Row("HP      C5173",                      kWhole, kTape),
    Row("HP      C5153F",                     13,     kTape),
    Row("HP      C1100F",                     13,     0x10000007,  41, 8, 1,  2,  16,  16, 0, 16),
    Row("HP      C1101F",                     13,     kOpticalLibrary),
    Row("HP      C1115F",                     13,     kOpticalLibrary),
    Row("HP      C1116F",                     13,     kOpticalLibrary),
    Row("HP      C1118J",                     13,     kOpticalLibrary),
    Row("HP      C1150F",                     13,     kOpticalLibrary),
    Row("HP      C1160A",                     13,     kOpticalLibrary),
    Row("HP      C1160F",                     13,     kOpticalLibrary),
    Row("HP      C1170F",                     13,     kOpticalLibrary),
    Row("HP      C1718T",                     13,     kOpticalLibrary),
    Row("HP      C1104F",                     13,     kOpticalLibrary),
    Row("HP      C1105F",                     13,     kOpticalLibrary),
    Row("HP      C1107F",                     13,     kOpticalLibrary),
    Row("HP      C1108F",                     13,     kOpticalLibrary),
    Row("HP      C1110F",                     13,     kOpticalLibrary),
    Row("HP      C1112F",                     13,     kOpticalLibrary),
    Row("HP",                                 kWhole, 0x01070000,  10, 0, 0,  1,   6,   6, 0, 2),
    Row("KUBOTA  K-20",                       kWhole, kOpticalLibrary),
    Row("MaxoptixMAXLYB",                     12,     kOpticalLibrary),
    Row("MaxoptixMX",                         12,     kOpticalLibrary),
    Row("MaxoptixT4",                         12,     kOpticalLibrary),
    Row("IDE     MULTI",                      kWhole, kOpticalLibrary),
    Row("IDE",                                kWhole, kOpticalLibrary),
    Row("PINNACLEALTA",                       kWhole, kOpticalLibrary),
    Row("PINNACLEINCLINE",                    kWhole, kOpticalLibrary),
    Row("PINNACLEALPINE",                     kWhole, kOpticalLibrary),
    Row("PINNACLE",                           kWhole, kOpticalLibrary),
    Row("IBM     MICRO",                      kWhole, kOpticalLibrary),
    Row("IBM     MULTI",                      kWhole, kOpticalLibrary),
    Row("IBM     MULTI-3",                    kWhole, kOpticalLibrary),
    Row("IBM     03575L",                     kWhole, kTape),
    Row("IBM     03570B01",                   13,     kTape),
    Row("IBM     03584",                      kWhole, kTape),
    Row("IBM     03590B11",                   13,     kTape),
    Row("IBM     7331-305",                   kWhole, kTape),
    Row("IBM     7331-205",                   kWhole, kTape),
    Row("IBM     3449-356",                   kWhole, kTape),
    Row("IBM     7331",                       kWhole, kTape),
    Row("IBM     3449",                       kWhole, kTape),
    Row("IBM     7336",                       kWhole, kTape),
    Row("IBM     7337",                       kWhole, kTape),
    Row("IBM     3447",                       kWhole, kTape),
    Row("IGM     SL-8",                       11,     kTape),
    Row("IMATION ITL4000",                    kWhole, kTape),
    Row("LAGO SYSLS-340L",                    kWhole, kTape),
    Row("LAGO SYSLS-380L",                    kWhole, kTape),
    Row("LAGO",                               kWhole, kTape),
    Row("LMS     BLACKJACK",                  kWhole, kTape),
    Row("LMS     03490",                      kWhole, kTape),
    Row("LMS     NCTP007",                    kWhole, kTape),
    Row("M4 DATA MAGFILE",                    kWhole, kTape),
    Row("MDI",                                kWhole, kTape),
    Row("METRUM  D-60",                       kWhole, kTape),
    Row("METRUM  D-28",                       kWhole, kTape),
    Row("MTNGATE D-28",                       kWhole, kTape),
    Row("MTNGATE D-60",                       kWhole, kTape),
    Row("MTNGATE D-360/480",                  kWhole, kTape),
    Row("ODETIC",                             kWhole, kTape),
    Row("OVERLANDIXB",                        kWhole, kTape),
    Row("OVERLANDLXB",                        kWhole, kTape),
    Row("OVERLANDLXS",                        kWhole, kTape),
    Row("OVERLANDL490E",                      kWhole, kTape),
    Row("OVERLANDL60E",                       kWhole, kTape),
    Row("OVERLANDSLR",                        kWhole, kTape),
    Row("OVERLANDLIBRARY",                    kWhole, kTape),
    Row("OVERLAND",                           kWhole, kTape),
    Row("MATSHITALF-J100",                    kWhole, 0x10000008,   9, 0, 1,  4, 100,  15, 6, 32),
    Row("QUANTUM DLT Changer",                kWhole, kTape),
    Row("Quantum TZ Media Changer",           kWhole, kTape),
    Row("Quantum DLT2140",                    kWhole, kTape),
    Row("Quantum DLT4140",                    kWhole, kTape),
    Row("QUANTUM Powerstor L200",             kWhole, kTape),
    Row("QUANTUM DLTstor108",                 kWhole, kTape),
    Row("QUANTUM DLTstor314",                 kWhole, kTape),
    Row("Quantum",                            kWhole, kTape),
    Row("SONY    TSL-A300",                   kWhole, kTape),
    Row("SONY    TSL-A500",                   kWhole, kTape),
    Row("SONY    TSL-7000",                   kWhole, kTape),
    Row("SONY    TSL-9000",                   kWhole, kTape),
    Row("SONY    TSL-10000",                  kWhole, kTape),
    Row("SONY    TSL-11000",                  kWhole, kTape),
    Row("SONY    DMS-B35",                    kWhole, kTape),
    Row("SONY    OSL-2000",                   kWhole, kOpticalLibrary),
    Row("SONY    OSL-6000",                   kWhole, kOpticalLibrary),
    Row("SONY    OSL-2500",                   kWhole, kOpticalLibrary),
    Row("SPECTRA STL-8000",                   kWhole, kTape),
    Row("SPECTRA 4000",                       kWhole, kTape),
    Row("SPECTRA 9000",                       kWhole, kTape),
    Row("SPECTRA 10000",                      kWhole, kTape),
    Row("SPECTRA 215",                        kWhole, kTape),
    Row("SPECTRA",                            kWhole, kTape),
    Row("SEAGATE AIT-LDR",                    kWhole, kTape),
    Row("SEAGATE DAT",                        kWhole, kTape),
    Row("STK     9704",                       kWhole, kTape),
    Row("STK     9714",                       kWhole, kTape),
    Row("STK     9710",                       kWhole, 0x01700000,  57, 0, 1, 10, 602,  14, 0, 2),
    Row("STK     9730",                       kWhole, kTape),
    Row("STK     9738",                       kWhole, kTape),
    Row("STK     9740",                       kWhole, kTape),
    Row("STK     DAT LIB",                    kWhole, kTape),
    Row("STK     L20",                        kWhole, kTape),
    Row("STK     L40",                        kWhole, kTape),
    Row("STK     L130",                       kWhole, kTape),
    Row("STK     L180",                       kWhole, kTape),
    Row("STK     L500",                       kWhole, kTape),
    Row("STK     L700",                       kWhole, 0x01700000,  57, 0, 1, 20, 700, 700, 0, 2),
    Row("Str8lineSL-8",                       11,     kTape),
    Row("TANDBERGTDS 1210",                   kWhole, kTape),
    Row("TANDBERGTDS 1420",                   kWhole, kTape),
    Row("TANDBERGTDS 1440",                   kWhole, kTape),
    Row("TANDBERGSLR",                        kWhole, kTape),
    Row("TAPEWRKSMINICHANGER",                kWhole, kTape),
    Row("TALLGRAS",                           kWhole, kTape),
    Row("WANGDAT MODEL LD4",                  kWhole, kTape),
    Row("WangDAT LD8",                        kWhole, kTape),
    Row("WANGDAT",                            kWhole, kTape),
    Row("QUALSTARTLS-2218",                   kWhole, 0x010F0000,  41, 0, 1,  2,  19,  18, 0, 2),
    Row("QUALSTARTLS-2236",                   kWhole, kTape),
    Row("QUALSTARTLS-2436",                   kWhole, kTape),
    Row("QUALSTARTLS-2472",                   kWhole, kTape),
    Row("QUALSTARTLS-24144",                  kWhole, kTape),
    Row("QUALSTARTLS-4210",                   kWhole, kTape),
    Row("QUALSTARTLS-4220",                   kWhole, kTape),
    Row("QUALSTARTLS-4420",                   kWhole, kTape),
    Row("QUALSTARTLS-4440",                   kWhole, kTape),
    Row("QUALSTARTLS-4480",                   kWhole, kTape),
    Row("QUALSTARTLS-4660",                   kWhole, kTape),
    Row("QUALSTARTLS-46120",                  kWhole, kTape),
    Row("QUALSTARTLS-6110",                   kWhole, kTape),
    Row("QUALSTARTLS-6210",                   kWhole, kTape),
    Row("QUALSTARTLS-6220",                   kWhole, kTape),
    Row("QUALSTARTLS-6430",                   kWhole, kTape),
    Row("QUALSTARTLS-6460",                   kWhole, kTape),
    Row("NEC     TL620NS",                    kWhole, 0x01500000,   9, 0, 1,  1,   6,   3, 0, 1),
};
// clang-format on

static_assert(std::all_of(std::begin(SupportedChangers), std::end(SupportedChangers),
                          [](const ChangerModel& row) {
                            return row.CompareLength > 0 && row.CompareLength <= kChangerTextSize;
                          }),
              "a comparison must stay within the inquiry text, and the table must be full");

const ChangerModel& FindChangerModel(const char* text) {
  const auto same_vendor = [text](const ChangerModel& row) {
    return EqualIgnoringCase(row.Name, text, kVendorSize);
  };
  const auto fits = [text](const ChangerModel& row) {
    return EqualIgnoringCase(row.Name, text, row.CompareLength);
  };
  const ChangerModel* const table_end = std::end(SupportedChangers);
  const ChangerModel* const run = std::find_if(SupportedChangers, table_end, same_vendor);
  if (run == table_end) {
    return SupportedChangers[0];
  }
  const ChangerModel* const run_end = std::find_if_not(run, table_end, same_vendor);
  const ChangerModel* const model = std::find_if(run, run_end, fits);
  return model != run_end ? *model : *(run_end - 1);
}

}  // namespace devprep
