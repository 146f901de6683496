#pragma once

// Made by tools/vector_math_coefficients.py: not to be edited. Lowest coefficient first. No
// variable is inline, as an object for one instruction set must offer no symbol of its own.

#include <cstdint>

namespace numerical::vector_math {

// ln 2 / 16.
constexpr double ln2_16th_1 = 0x1.62e42fefa39efp-5;
constexpr double ln2_16th_2 = 0x1.abc9e3b39803fp-60;

constexpr double sixteen_over_ln2 = 0x1.71547652b82fep+4;

// (e^r - 1 - r) / r^2 for |r| <= ln 2 / 32, error 2^-60.0.
constexpr double exp_tail[6] = {0x1.0000000000003p-1, 0x1.5555555555558p-3,  0x1.55555554ad3c5p-5,
                                0x1.111111109b729p-7, 0x1.6c181f4f11f48p-10, 0x1.a01b772f0c82ep-13};

// (2^r - 1) / r for |r| <= 1 / 32, error 2^-57.0.
constexpr double exp2_tail[6] = {0x1.62e42fefa39fdp-1,  0x1.ebfbdff82c59bp-3,
                                 0x1.c6b08d6e8a667p-5,  0x1.3b2ab6faae04ap-7,
                                 0x1.5d89be3cce391p-10, 0x1.430a89a9abda9p-13};

// (cosh r - 1) / u, u = r^2, error 2^-66.3.
constexpr double cosh_tail[3] = {0x1.0000000000004p-1, 0x1.555555547f572p-5, 0x1.6c184186c8730p-10};

// (sinh r - r) / r^3 of u = r^2, error 2^-69.5.
constexpr double sinh_tail[3] = {0x1.5555555555557p-3, 0x1.11111110b1f58p-7, 0x1.a01b570d0c02ep-13};

// 2^(j/16), its bits less j 2^48: with n = 16 k + j the bits plus n 2^48
// are those of 2^(n/16).
constexpr double power_of_two_base[16] = {0x1p+0,
                                          0x1.fb5586cf9890fp-1,
                                          0x1.f72b83c7d517bp-1,
                                          0x1.f387a6e756238p-1,
                                          0x1.f06fe0a31b715p-1,
                                          0x1.edea64c123422p-1,
                                          0x1.ebfdad5362a27p-1,
                                          0x1.eab07dd485429p-1,
                                          0x1.ea09e667f3bcdp-1,
                                          0x1.ea11473eb0187p-1,
                                          0x1.eace5422aa0dbp-1,
                                          0x1.ec49182a3f090p-1,
                                          0x1.ee89f995ad3adp-1,
                                          0x1.f199bdd85529cp-1,
                                          0x1.f5818dcfba487p-1,
                                          0x1.fa4afa2a490dap-1};

// 2^(j/16) = rounded * (1 + rest).
constexpr double power_of_two_rest[16] = {0.0,
                                          0x1.79aa65d837b6dp-54,
                                          -0x1.01b15eaa59348p-55,
                                          0x1.68efde3a8a894p-54,
                                          0x1.34d754db0abb6p-55,
                                          0x1.59f48a72a4c6dp-55,
                                          0x1.690cebb7aafb0p-56,
                                          0x1.063e1e21c5409p-54,
                                          -0x1.3b3efbf5e2228p-54,
                                          -0x1.b32dcb94da51dp-56,
                                          0x1.db72fc1f0eab4p-55,
                                          0x1.1affc2b91ce27p-56,
                                          0x1.c1a7792cb3387p-55,
                                          0x1.36eae30af0cb3p-56,
                                          0x1.4a385a63d07a7p-56,
                                          -0x1.ff7128fd391f0p-55};

constexpr double log_first = 0x1.6800000000000p-1;
// The reduced argument lies in [-0.02917, 0.03125].
constexpr double log_reciprocal[16] = {0x1.6400000000000p+0, 0x1.5580000000000p+0,
                                       0x1.4780000000000p+0, 0x1.3b00000000000p+0,
                                       0x1.2f80000000000p+0, 0x1.2480000000000p+0,
                                       0x1.1a80000000000p+0, 0x1.1100000000000p+0,
                                       0x1.0880000000000p+0, 0x1p+0,
                                       0x1.e200000000000p-1, 0x1.c700000000000p-1,
                                       0x1.af00000000000p-1, 0x1.9980000000000p-1,
                                       0x1.8600000000000p-1, 0x1.7480000000000p-1};

// Logarithms to a base: those of the reciprocals, less their sign, in two parts, of 2 in two parts,
// and of e in two. The high parts are multiples of 2^-42, so that sums with k log 2 are exact.
struct logarithm_base
{
    double table[16];
    double table_low[16];
    double of_2;
    double of_2_low;
    double of_e;
    double of_e_low;
};

constexpr logarithm_base natural = {
    {-0x1.51aad872e0000p-2, -0x1.27161913f8000p-2, -0x1.f871b28956000p-3, -0x1.a8becfc882000p-3,
     -0x1.5c94007598000p-3, -0x1.10f8e42254000p-3, -0x1.9375e55594000p-4, -0x1.0759835990000p-4,
     -0x1.0b94f7c198000p-5, 0.0, 0x1.eea31c0068000p-5, 0x1.e3707ee304000p-4, 0x1.60b3100b0a000p-3,
     0x1.c97f8079d4000p-3, 0x1.16b5ccbad0000p-2, 0x1.45b8c0a17e000p-2},
    {0x1.f4bd8db0a7cc1p-44, -0x1.4f4f1f61564b4p-44, 0x1.f75fd6a526efep-44, -0x1.e3185cf21b9cfp-44,
     0x1.a8d948cd23322p-44, 0x1.93b3843396307p-45, -0x1.eddc37380c364p-44, 0x1.b8ecfe4b59987p-44,
     0x1.e89896f022783p-45, 0.0, 0x1.c3dd83606d891p-44, 0x1.0f684e6766abdp-45,
     -0x1.71456c988f814p-44, 0x1.3b161a8c6e6c5p-45, -0x1.23299042d74bfp-44, -0x1.d9120e7d0a853p-47},
    0x1.62e42fefa3800p-1,
    0x1.ef35793c76730p-45,
    0x1p+0,
    0.0};

constexpr logarithm_base binary = {
    {-0x1.e726aa1e75000p-2, -0x1.a9b835c98c000p-2, -0x1.6be12866f8000p-2, -0x1.32639636b3000p-2,
     -0x1.f6e4565680000p-3, -0x1.89d0d0ab44000p-3, -0x1.2309065d2a000p-3, -0x1.7beee96b8c000p-4,
     -0x1.820a01ac78000p-5, 0.0, 0x1.64ce26c068000p-4, 0x1.5cba53a076000p-3, 0x1.fcd677e5ac000p-3,
     0x1.4a03dcbd2e000p-2, 0x1.921800924e000p-2, 0x1.d5eac4d464000p-2},
    {-0x1.3483146784bd2p-44, -0x1.c27e675df639dp-44, -0x1.06adfcaa4bcf5p-45, 0x1.f29947070fc4bp-44,
     0x1.aaa72ba2c6ba2p-47, 0x1.e665e245fe368p-44, 0x1.0dd830ee74ef2p-44, 0x1.d7ec3be51cdcbp-44,
     0x1.59a77da8ad64ap-44, 0.0, -0x1.d5297837adb4bp-45, 0x1.769a8e6b40f5ep-46,
     0x1.039b772eda08ep-44, 0x1.bdc90791aef03p-46, -0x1.62404772a151dp-45, -0x1.410f5d3161a62p-45},
    0x1p+0,
    0.0,
    0x1.71547652b82fep+0,
    0x1.777d0ffda0d24p-56};

constexpr logarithm_base decimal = {
    {-0x1.254b4d35e8000p-3, -0x1.004f0857ee000p-3, -0x1.b627942aec000p-4, -0x1.70eddb7d80000p-4,
     -0x1.2ec568056c000p-4, -0x1.da338aaa98000p-5, -0x1.5e70fd3ee8000p-5, -0x1.c97c3735e0000p-6,
     -0x1.d0d65e8900000p-7, 0.0, 0x1.ada2e8e3e0000p-6, 0x1.a3e9002c70000p-5, 0x1.3259d2107c000p-4,
     0x1.8d60b4ee4c000p-4, 0x1.e42b4c16cc000p-4, 0x1.1aeb1363b4000p-3},
    {0x1.61f143538008cp-46, 0x1.d218966360097p-46, -0x1.dba29d8601f93p-45, 0x1.5f89d049ffd9dp-44,
     -0x1.6e95635907534p-48, -0x1.4173b2a06eb58p-46, 0x1.4cc1c6bf68db0p-45, -0x1.f028fb72dfe8ap-44,
     -0x1.0169545b91b96p-45, 0.0, 0x1.51bd19e6e701ap-44, 0x1.1d257c8d0d386p-45,
     0x1.b5474ae667c99p-44, 0x1.900e5cc4e4c82p-44, -0x1.50d780639590cp-44, 0x1.3219d92f934ccp-45},
    0x1.34413509f8000p-2,
    -0x1.80433b83b532ap-44,
    0x1.bcb7b1526e50ep-2,
    0x1.95355baaafad3p-57};

// (log(1 + r) - r) / r^2, error 2^-56.7.
constexpr double log_tail[8] = {-0x1.fffffffffffdbp-2, 0x1.5555555555ab8p-2,  -0x1.000000008f3d0p-2,
                                0x1.99999985b465ap-3,  -0x1.55554377ffb6cp-3, 0x1.2492eb177eb0cp-3,
                                -0x1.0068d7283e8dcp-3, 0x1.c4524a4cd1560p-4};

constexpr double power_first = 0x1.6400000000000p-1;
// The reduced argument lies in [-0.01512, 0.01562].
constexpr double power_reciprocal[32] = {
    0x1.6c00000000000p+0, 0x1.6400000000000p+0, 0x1.5c80000000000p+0, 0x1.5580000000000p+0,
    0x1.4e80000000000p+0, 0x1.4780000000000p+0, 0x1.4180000000000p+0, 0x1.3b00000000000p+0,
    0x1.3500000000000p+0, 0x1.2f80000000000p+0, 0x1.2a00000000000p+0, 0x1.2480000000000p+0,
    0x1.1f80000000000p+0, 0x1.1a80000000000p+0, 0x1.1580000000000p+0, 0x1.1100000000000p+0,
    0x1.0c80000000000p+0, 0x1.0880000000000p+0, 0x1.0400000000000p+0, 0x1p+0,
    0x1.f080000000000p-1, 0x1.e200000000000p-1, 0x1.d400000000000p-1, 0x1.c700000000000p-1,
    0x1.bb00000000000p-1, 0x1.af00000000000p-1, 0x1.a400000000000p-1, 0x1.9980000000000p-1,
    0x1.8f80000000000p-1, 0x1.8600000000000p-1, 0x1.7d00000000000p-1, 0x1.7480000000000p-1};

// -ln of the reciprocals, to a multiple of 2^-42.
constexpr double power_table[32] = {
    -0x1.686c81e9b1000p-2, -0x1.51aad872e0000p-2, -0x1.3bdd24eb15000p-2, -0x1.27161913f8000p-2,
    -0x1.11e0e2dada000p-2, -0x1.f871b28956000p-3, -0x1.d293581b6c000p-3, -0x1.a8becfc882000p-3,
    -0x1.815c0a1436000p-3, -0x1.5c94007598000p-3, -0x1.371fc201e8000p-3, -0x1.10f8e42254000p-3,
    -0x1.db5270187c000p-4, -0x1.9375e55594000p-4, -0x1.4a50d3aa1c000p-4, -0x1.0759835990000p-4,
    -0x1.868a830840000p-5, -0x1.0b94f7c198000p-5, -0x1.fc0a8b0fc0000p-7, 0.0,
    0x1.f7a9b16780000p-6,  0x1.eea31c0068000p-5,  0x1.700d30aeac000p-4,  0x1.e3707ee304000p-4,
    0x1.28753bc11a000p-3,  0x1.60b3100b0a000p-3,  0x1.95a5adcf70000p-3,  0x1.c97f8079d4000p-3,
    0x1.fc218be620000p-3,  0x1.16b5ccbad0000p-2,  0x1.2e9e2bce12000p-2,  0x1.45b8c0a17e000p-2};

constexpr double power_table_low[32] = {
    -0x1.2bb110af84054p-44, 0x1.f4bd8db0a7cc1p-44,  0x1.257b4970e6ed9p-44,  -0x1.4f4f1f61564b4p-44,
    0x1.a47f88fcce5bap-45,  0x1.f75fd6a526efep-44,  0x1.83270128aaa5fp-44,  -0x1.e3185cf21b9cfp-44,
    0x1.02a52f9201ce8p-44,  0x1.a8d948cd23322p-44,  -0x1.ee8779b2d8abcp-44, 0x1.93b3843396307p-45,
    -0x1.9277856ae181fp-44, -0x1.eddc37380c364p-44, 0x1.f7fe1308973e2p-45,  0x1.b8ecfe4b59987p-44,
    0x1.2623a134ac693p-46,  0x1.e89896f022783p-45,  -0x1.f1e7cf6d3a69cp-50, 0.0,
    0x1.42ad9271be7d7p-45,  0x1.c3dd83606d891p-44,  0x1.c1e8da99ded32p-49,  0x1.0f684e6766abdp-45,
    0x1.7494e359302e6p-44,  -0x1.71456c988f814p-44, 0x1.7f22858a0ff6fp-47,  0x1.3b161a8c6e6c5p-45,
    0x1.4bba46f1cf6a0p-44,  -0x1.23299042d74bfp-44, 0x1.4300c128d1dc2p-45,  -0x1.d9120e7d0a853p-47};

// (log(1 + r) - r + r^2 / 2) / r^3, error 2^-65.0.
constexpr double power_tail[7] = {
    0x1.5555555555559p-2, -0x1.0000000001711p-2, 0x1.9999999951872p-3, -0x1.5555545c571a3p-3,
    0x1.24925300d306fp-3, -0x1.00194d7c0c018p-3, 0x1.c6696c123785cp-4};

// An angle in three parts, for the subtraction of its multiples n: n times the second is exact for
// n < 2^20 (pi / 2) or n < 2^23 (pi / 16).
struct angle_step
{
    double reciprocal;
    double first;
    double second;
    double third;
};

constexpr angle_step half_pi_step = {0x1.45f306dc9c883p-1, 0x1.921fb54442d18p+0,
                                     0x1.1a62633100000p-54, 0x1.1701b839a2520p-88};

constexpr angle_step sixteenth_pi_step = {0x1.45f306dc9c883p+2, 0x1.921fb54442d18p-3,
                                          0x1.1a62633000000p-57, 0x1.45c06e0e68948p-89};

// (sin r - r) / r^3 of u = r^2, |r| <= pi / 4, error 2^-58.0.
constexpr double sin_tail[6] = {-0x1.5555555555549p-3,  0x1.111111110f881p-7,
                                -0x1.a01a019c124d9p-13, 0x1.71de35783388bp-19,
                                -0x1.ae5e6687029c8p-26, 0x1.5d9311ebbf88bp-33};

// (cos r - 1 + u / 2) / u^2 of u = r^2, error 2^-64.2.
constexpr double cos_tail[6] = {0x1.555555555554cp-5,  -0x1.6c16c16c1517fp-10,
                                0x1.a01a019cb1c78p-16, -0x1.27e4f809f02a6p-22,
                                0x1.1ee9ebe50be59p-29, -0x1.8fae98dc63893p-37};

// (tan r - r) / r^3 of u = r^2, |r| <= pi / 32, error 2^-59.1.
constexpr double tan_tail[5] = {0x1.55555555555dcp-2, 0x1.11111110b08e2p-3, 0x1.ba1ba489bbc8ep-5,
                                0x1.664ab653be7a4p-6, 0x1.25ccddbc1eaccp-7};

// tan(j pi / 16) for j = 0 to 3 and -4 to -1, twice.
constexpr double tan_table[16] = {
    0.0,     0x1.975f5e0553158p-3,  0x1.a827999fcef32p-2,  0x1.561b82ab7f990p-1,
    -0x1p+0, -0x1.561b82ab7f990p-1, -0x1.a827999fcef32p-2, -0x1.975f5e0553158p-3,
    0.0,     0x1.975f5e0553158p-3,  0x1.a827999fcef32p-2,  0x1.561b82ab7f990p-1,
    -0x1p+0, -0x1.561b82ab7f990p-1, -0x1.a827999fcef32p-2, -0x1.975f5e0553158p-3};

constexpr double tan_table_low[16] = {
    0.0, 0x1.ef5d367441946p-61,  0x1.08b2fb1366ea9p-56,  0x1.7a8c52172b675p-55,
    0.0, -0x1.7a8c52172b675p-55, -0x1.08b2fb1366ea9p-56, -0x1.ef5d367441946p-61,
    0.0, 0x1.ef5d367441946p-61,  0x1.08b2fb1366ea9p-56,  0x1.7a8c52172b675p-55,
    0.0, -0x1.7a8c52172b675p-55, -0x1.08b2fb1366ea9p-56, -0x1.ef5d367441946p-61};

// 2 / pi = sum of word[i] * 2^(-64 i).
constexpr std::uint64_t two_over_pi_words[21] = {
    0x0000000000000000, 0xA2F9836E4E441529, 0xFC2757D1F534DDC0, 0xDB6295993C439041,
    0xFE5163ABDEBBC561, 0xB7246E3A424DD2E0, 0x06492EEA09D1921C, 0xFE1DEB1CB129A73E,
    0xE88235F52EBB4484, 0xE99C7026B45F7E41, 0x3991D639835339F4, 0x9C845F8BBDF9283B,
    0x1FF897FFDE05980F, 0xEF2F118B5A0A6D1F, 0x6D367ECF27CB09B7, 0x4F463F669E5FEA2D,
    0x7527BAC7EBE5F17B, 0x3D0739F78A5292EA, 0x6BFB5FB11F8D5D08, 0x56033046FC7B6BAB,
    0xF0CFBC209AF4361D,
};

// The angle of each part has the tangent sine / cosine.
constexpr double arctan_sine[16] = {0x1.3500000000000p+1,
                                    0x1.b780000000000p+1,
                                    0x1.33c0000000000p+2,
                                    0x1.b700000000000p+2,
                                    0x1.3360000000000p+3,
                                    0x1p+0,
                                    0.0,
                                    0x1.bfe0000000000p-4,
                                    0x1.3fc0000000000p-3,
                                    0x1.bfa0000000000p-3,
                                    0x1.3ee0000000000p-2,
                                    0x1.be80000000000p-2,
                                    0x1.3c60000000000p-1,
                                    0x1.bc00000000000p-1,
                                    0x1.3840000000000p+0,
                                    0x1.b920000000000p+0};

constexpr double arctan_cosine[16] = {0x1p+0, 0x1p+0, 0x1p+0, 0x1p+0, 0x1p+0, 0.0,
                                      0x1p+0, 0x1p+0, 0x1p+0, 0x1p+0, 0x1p+0, 0x1p+0,
                                      0x1p+0, 0x1p+0, 0x1p+0, 0x1p+0};

// The angles.
constexpr double arctan_angle[16] = {0x1.2d9654c66566fp+0,
                                     0x1.4992bf51bbe3dp+0,
                                     0x1.5da24da770593p+0,
                                     0x1.6d10525089892p+0,
                                     0x1.77916b10e46efp+0,
                                     0x1.921fb54442d18p+0,
                                     0.0,
                                     0x1.be1a4cb787068p-4,
                                     0x1.3d3074b7c3e81p-3,
                                     0x1.b8b1d68f8f8f6p-3,
                                     0x1.3520fde0873e0p-2,
                                     0x1.a50c70f92af19p-2,
                                     0x1.1b634779177bdp-1,
                                     0x1.6dc44551553afp-1,
                                     0x1.c4a42616fb126p-1,
                                     0x1.0b82a75281478p+0};

constexpr double arctan_angle_low[16] = {0x1.7bebc063c8655p-54,
                                         -0x1.cad8e8dfdd05fp-54,
                                         -0x1.27868da9a6cd9p-54,
                                         0x1.ec3f8b283d806p-54,
                                         0x1.9b054b92ef430p-60,
                                         0x1.1a62633145c07p-54,
                                         0.0,
                                         -0x1.272a2bc4d85eep-58,
                                         0x1.b3d68ba2b1227p-57,
                                         0x1.98b9ce8d961b2p-57,
                                         -0x1.e30e7cb4a9a75p-56,
                                         0x1.10466b3dcb0c4p-57,
                                         -0x1.bd4c1265f7202p-58,
                                         -0x1.bf8863573828ep-58,
                                         -0x1.2bb979d8ad392p-56,
                                         -0x1.2bebab4cce6d5p-55};

// The reduced tangent is at most 0.0991.
// (arctan z - z) / z^3 of u = z^2, error 2^-63.5.
constexpr double arctan_tail[6] = {-0x1.555555555554dp-2, 0x1.99999999914a5p-3,
                                   -0x1.2492490f1cd08p-3, 0x1.c71c3ecd4a013p-4,
                                   -0x1.743e728c06ef2p-4, 0x1.31fd1ffd9e3bap-4};

// (arcsin v - v) / v^3 of u = v^2, u <= 1/4, error 2^-59.8.
constexpr double arcsin_tail[13] = {
    0x1.5555555555578p-3, 0x1.333333332df84p-4, 0x1.6db6db7225d4dp-5, 0x1.f1c71a8dd5c0cp-6,
    0x1.6e8bdfa4901f8p-6, 0x1.1c49e2dac6964p-6, 0x1.ca20cb4960b20p-7, 0x1.757b8fa9bfff7p-7,
    0x1.61737f9690c40p-7, 0x1.e2c526ad5b683p-9, 0x1.6490bfd94330dp-6, -0x1.5951deb244cc8p-6,
    0x1.0baf97557a36bp-5};

// pi / 2.
constexpr double half_of_pi = 0x1.921fb54442d18p+0;
constexpr double half_of_pi_low = 0x1.1a62633145c07p-54;

} // namespace numerical::vector_math
