/* A library without the entries of a plug-in. */
int bare_of_entries(void);
int bare_of_entries(void) { return 0; }
