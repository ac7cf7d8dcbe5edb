// The four decoders the image loader calls for compressed pixel data, each in the shape of the codec
// library it stands for: 8-bit JPEG, 12-bit JPEG, 16-bit (lossless) JPEG and JPEG 2000. They sit over
// libjpeg-turbo, the IJG 6b 8-, 12- and 16-bit libraries and OpenJPEG.
//
// Common contract of the four functions:
// - `source` holds `sourceLength` bytes, the pixel data as the loader has it. The first code stream is
//   searched for (SOI followed by a marker for JPEG; SOC followed by SIZ, or the JP2 signature box, for
//   JPEG 2000), so leading bytes such as a Basic Offset Table are stepped over. After each code stream,
//   padding (0x00 bytes, and for JPEG 0xFF fill bytes) is stepped over; when another code stream starts
//   there, it is decoded too: the frames of a multi-frame image, joined. Anything else after a code
//   stream is ignored. Only bytes inside the source range are read.
// - `maxOutLength` is the most bytes the caller accepts in `*out`, all frames together (say, what the
//   image's header says its frames hold). Each frame's size is checked as its header declares it,
//   before the frame is decoded: a damaged stream that declares a huge image fails without anything of
//   that size being allocated, by these functions or by the libraries.
// - On success: true; `*out` is a new block allocated with `new std::uint8_t[n]` (for the 12- and
//   16-bit functions the same bytes seen as unsigned short), which the caller frees with `delete[]` on
//   a `std::uint8_t*`; `*outLength` is n, its size in bytes, at most maxOutLength. The frames follow
//   one another in it, rows top to bottom, samples interleaved pixel by pixel.
// - On failure: false, `*out` null, `*outLength` 0, and a message, usually the library's
//   (NUL-terminated, at most 1023 characters), in `errorText`, a caller's buffer of 1024 bytes. These
//   fail: a null source or out pointer, a length of 0 or less, a maxOutLength of 0 or less (no room
//   for the decoded samples), data without a code stream, a code stream the library refuses, corrupt
//   or missing data (including a stream that ends early, which the libraries would otherwise fill with
//   grey), and frames whose declared samples, added to those of the frames before them, take more than
//   maxOutLength bytes (the message gives the declared size and the limit). A lossless JPEG frame also
//   fails when it declares more samples than eight times its bytes, as its Huffman codes take at least
//   one bit a sample. Nothing is thrown, nothing is printed.
// - No global state: any number of threads may decode at once.
//
// Colour JPEG: the samples are the stream's components as it stores them, with no colour transform,
// whatever JFIF or Adobe markers or component ids say: a YCbCr stream gives Y, Cb, Cr (subsampled
// components brought to the full size by the library's interpolation), an RGB stream R, G, B. The
// image's Photometric Interpretation says what they are; the image object converts YBR_FULL itself.
// This is DCMTK's dcmdjpeg +cn ("never convert").
#pragma once

// 8-bit samples. Lossy streams go to libjpeg-turbo, lossless ones (process 14) to the IJG 8-bit
// library; a stream of more than 8 bits fails.
bool DecompressJpegBufferIntoBmpBuffer8(unsigned char* source, int sourceLength, unsigned char** out,
                                        int* outLength, char* errorText, int maxOutLength);

// 16-bit samples in native byte order, holding the stream's bits: 0 .. 2^precision - 1. A JPEG stream
// has no sign: signed pixels come out as the bits they were coded as (sign-extended only if they were
// coded so, as 16-bit streams of 12-bit pixels often are). Lossy streams of 12-bit precision and
// lossless streams of up to 12 bits go to the IJG 12-bit library. As the samples are 16 bits wide,
// other streams go where they can be decoded rather than fail: lossless ones above 12 bits to the IJG
// 16-bit library, 8-bit lossy ones to libjpeg-turbo (samples widened).
bool DecompressJpegBufferIntoBmpBuffer12(unsigned char* source, int sourceLength, unsigned short** out,
                                         int* outLength, char* errorText, int maxOutLength);

// As the 12-bit function; lossless streams of any precision from 2 to 16 go to the IJG 16-bit library.
bool DecompressJpegBufferIntoBmpBuffer16(unsigned char* source, int sourceLength, unsigned short** out,
                                         int* outLength, char* errorText, int maxOutLength);

// JPEG 2000 (a J2K code stream, or a JP2 file) through OpenJPEG. When every component has a precision
// of 8 bits or less the samples are bytes, otherwise 16-bit little-endian words. Each sample holds its
// component's precision and nothing above it: a signed component keeps the two's-complement bits of
// its precision with the higher bits zero (a 12-bit -1 is 0x0FFF), as an uncompressed image holds its
// stored bits; the reader extends the sign. Colour comes out as OpenJPEG gives it (the reversible or
// irreversible component transform undone). Components of more than 16 bits, subsampled components and
// code streams lacking tiles fail.
bool DecompressJpeg2KBufferIntoBmpBuffer(unsigned char* source, int sourceLength, unsigned char** out,
                                         int* outLength, char* errorText, int maxOutLength);
