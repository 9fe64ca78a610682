/* What the product is called, for C_GetInfo and for the version resource of the Windows library, whose
   compiler knows nothing but macros. */
#ifndef TAVRIK_PRODUCT_H
#define TAVRIK_PRODUCT_H

/* NOLINTBEGIN(cppcoreguidelines-macro-usage, modernize-macro-to-enum) */
#define TAVRIK_MAKER "Corvane"
#define TAVRIK_DESCRIPTION "Tavrik PKCS#11 library"
#define TAVRIK_VERSION_MAJOR 4
#define TAVRIK_VERSION_MINOR 0
#define TAVRIK_VERSION_TEXT "4.0"
/* NOLINTEND(cppcoreguidelines-macro-usage, modernize-macro-to-enum) */

#endif
