/* A codec module in which two entries are missing. */
#include <stdio.h>

void CODEC_INIT(void);
void CODEC_INIT(void) { puts("CODEC_INIT was called"); }
