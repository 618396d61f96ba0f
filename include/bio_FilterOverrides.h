// The declaration lists of a concrete filter: the overrides of every typed value operation of
// bio_Ofilter and bio_Ifilter, for the eleven value types in their slot order.
#pragma once

// Calls X(T) for every value type of the filters, in their slot order.
#define BIO_FOR_EACH_VALUE_TYPE(X)                                                                 \
    X(double)                                                                                      \
    X(float)                                                                                       \
    X(unsigned long)                                                                               \
    X(long)                                                                                        \
    X(unsigned int)                                                                                \
    X(int)                                                                                         \
    X(unsigned short)                                                                              \
    X(short)                                                                                       \
    X(unsigned char)                                                                               \
    X(char)                                                                                        \
    X(bool)

#define BIO_DECLARE_INSERT_OVERRIDE(T) void insert(const T& v) override;
#define BIO_DECLARE_INSERT_VECTOR_OVERRIDE(T) void insertVector(const T* v, unsigned n) override;
#define BIO_DECLARE_EXTRACT_OVERRIDE(T) void extract(T& v) override;
#define BIO_DECLARE_EXTRACT_VECTOR_OVERRIDE(T) void extractVector(T* v, unsigned n) override;

// Every typed output operation of bio_Ofilter.
#define BIO_OFILTER_VALUE_OVERRIDES                                                                \
    void insert(const char* s) override;                                                           \
    BIO_FOR_EACH_VALUE_TYPE(BIO_DECLARE_INSERT_OVERRIDE)                                           \
    BIO_FOR_EACH_VALUE_TYPE(BIO_DECLARE_INSERT_VECTOR_OVERRIDE)

// Every typed input operation of bio_Ifilter.
#define BIO_IFILTER_VALUE_OVERRIDES                                                                \
    void extract(char*& dst, unsigned n) override;                                                 \
    BIO_FOR_EACH_VALUE_TYPE(BIO_DECLARE_EXTRACT_OVERRIDE)                                          \
    BIO_FOR_EACH_VALUE_TYPE(BIO_DECLARE_EXTRACT_VECTOR_OVERRIDE)
