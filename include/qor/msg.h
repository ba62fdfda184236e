/* MESSAGE, the sink of all output, and MSG, a module's channel into it.
 *
 * Every text becomes a call of a method of class MESSAGE (DISPLAY, ERROR or
 * STATUS), so that a script may replace them. While nothing is compiled or
 * run, texts go straight to the standard output.
 */
#ifndef QOR_MSG_H
#define QOR_MSG_H

#include "qor/types.h"

#if defined(__GNUC__)
#define QOR_FORMAT(string, first) __attribute__((format(printf, string, first)))
#else
#define QOR_FORMAT(string, first)
#endif

QOR_BEGIN_C

/* 1_C: the text as it stands; _S: the text and a line end; _F: formatted, cut
 * at 64 KiB. The ABORT forms show the text as an error and do not return. */
QOR_API void MESSAGE_DISPLAY1_C(const char *text);
QOR_API void MESSAGE_DISPLAY_F(const char *format, ...) QOR_FORMAT(1, 2);
QOR_API void MESSAGE_DISPLAY_S(STRNG text);
QOR_API void MESSAGE_DISPLAY_ERROR1_C(const char *text);
QOR_API void MESSAGE_DISPLAY_ERROR_F(const char *format, ...) QOR_FORMAT(1, 2);
QOR_API void MESSAGE_DISPLAY_ERROR_S(STRNG text);
QOR_API void MESSAGE_DISPLAY_STATUS1_C(const char *text);
QOR_API void MESSAGE_DISPLAY_STATUS_S(STRNG text);
QOR_API void MESSAGE_ABORT1_C(const char *text);
QOR_API void MESSAGE_ABORT_F(const char *format, ...) QOR_FORMAT(1, 2);
QOR_API void MESSAGE_ABORT_S(STRNG text);
/* Prefix, text, suffix. The suffix is cut to one byte more than the prefix. */
QOR_API void MESSAGE_ABORT_P(const char *prefix, STRNG text, const char *suffix);

/* Creates a channel for a module. With dset, each change of the procedure is
 * displayed. The caller owns the channel. */
QOR_API void MSG_CREATE_C(MSG *channel, const char *module, int32_t dset);
QOR_API void MSG_REMOVE(MSG *channel);
QOR_API void MSG_SET_PROC_C(MSG channel, const char *procedure);
QOR_API void MSG_SET_PROC(MSG channel, uint32_t high, const char *procedure);
QOR_API void MSG_SET_DSET_PROC(MSG *channel, int32_t dset);

/* "*** ABORT *** module(procedure) text", and the end of the run. Formatted
 * texts are cut at 1 KiB. A null channel neither prints nor aborts. */
QOR_API void MSG_ABORT(MSG channel, uint32_t high, const char *text);
QOR_API void MSG_ABORT2_C(MSG channel, const char *text);
QOR_API void MSG_ABORT_S(MSG channel, STRNG text);
QOR_API void MSG_ABORT_F(MSG channel, const char *format, ...) QOR_FORMAT(2, 3);
/* "*** ERROR *** module(procedure) prefix text suffix", and the end of the run. */
QOR_API void MSG_PABORT(MSG channel, uint32_t prefix_high, const char *prefix, STRNG text, uint32_t suffix_high,
                        const char *suffix);
QOR_API void MSG_PABORT_C(MSG channel, const char *prefix, STRNG text, const char *suffix);
/* "*** ERROR *** module(procedure) text". */
QOR_API void MSG_DISPLAY_ERROR(MSG channel, uint32_t high, const char *text);
QOR_API void MSG_DISPLAY_ERROR2_C(MSG channel, const char *text);
QOR_API void MSG_DISPLAY_ERROR_S(MSG channel, STRNG text); /* text cut to 511 bytes */
QOR_API void MSG_DISPLAY_ERROR_F(MSG channel, const char *format, ...) QOR_FORMAT(2, 3);
QOR_API void MSG_DISPLAY_PERROR(MSG channel, uint32_t prefix_high, const char *prefix, STRNG text, uint32_t suffix_high,
                                const char *suffix);
QOR_API void MSG_DISPLAY_PERROR_C(MSG channel, const char *prefix, STRNG text, const char *suffix);
/* "module(procedure): text". */
QOR_API void MSG_DISPLAY(MSG channel, uint32_t high, const char *text);
QOR_API void MSG_DISPLAY2_C(MSG channel, const char *text);
QOR_API void MSG_DISPLAY_S(MSG channel, STRNG text); /* text cut to 511 bytes */
QOR_API void MSG_DISPLAY_F(MSG channel, const char *format, ...) QOR_FORMAT(2, 3);
/* "module(procedure) prefix text suffix". */
QOR_API void MSG_PDISPLAY(MSG channel, uint32_t prefix_high, const char *prefix, STRNG text, uint32_t suffix_high,
                          const char *suffix);
QOR_API void MSG_PDISPLAY_C(MSG channel, const char *prefix, STRNG text, const char *suffix);

QOR_END_C

#endif
