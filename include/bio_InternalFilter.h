// The internal filters: the binary encoding streamed through a device.
//
// Each scalar goes through `shortMove` with its width, a string's bytes and the vectors through
// `longMove`. The vector widths are deliberately unequal: `bio_OinternalFilter::insertVector`
// writes n bytes whatever the element type (a caller writing wider elements passes n already
// multiplied by the element's width on the stream), while `bio_IinternalFilter::extractVector`
// reads n elements. The filters do not own their devices.
#pragma once

#include "bio_Ifilter.h"
#include "bio_Ofilter.h"
#include "vlt_Export.h"

class VLTUTL_API bio_OinternalFilter : public bio_Ofilter {
public:
    explicit bio_OinternalFilter(bio_Odevice& device) : bio_Ofilter(&device) {}
    ~bio_OinternalFilter() override;

    void insert(const char* s) override;
    void insert(const double& v) override;
    void insert(const float& v) override;
    void insert(const unsigned long& v) override;
    void insert(const long& v) override;
    void insert(const unsigned int& v) override;
    void insert(const int& v) override;
    void insert(const unsigned short& v) override;
    void insert(const short& v) override;
    void insert(const unsigned char& v) override;
    void insert(const char& v) override;
    void insert(const bool& v) override;

    // n is a count of bytes, not of elements (deliberate, see above).
    void insertVector(const double* v, unsigned n) override;
    void insertVector(const float* v, unsigned n) override;
    void insertVector(const unsigned long* v, unsigned n) override;
    void insertVector(const long* v, unsigned n) override;
    void insertVector(const unsigned int* v, unsigned n) override;
    void insertVector(const int* v, unsigned n) override;
    void insertVector(const unsigned short* v, unsigned n) override;
    void insertVector(const short* v, unsigned n) override;
    void insertVector(const unsigned char* v, unsigned n) override;
    void insertVector(const char* v, unsigned n) override;
    void insertVector(const bool* v, unsigned n) override;
};

class VLTUTL_API bio_IinternalFilter : public bio_Ifilter {
public:
    explicit bio_IinternalFilter(bio_Idevice& device) : bio_Ifilter(&device) {}
    ~bio_IinternalFilter() override;

    void extract(char*& dst, unsigned n) override;
    void extract(double& v) override;
    void extract(float& v) override;
    void extract(unsigned long& v) override;
    void extract(long& v) override;
    void extract(unsigned int& v) override;
    void extract(int& v) override;
    void extract(unsigned short& v) override;
    void extract(short& v) override;
    void extract(unsigned char& v) override;
    void extract(char& v) override;
    void extract(bool& v) override;

    void extractVector(double* v, unsigned n) override;
    void extractVector(float* v, unsigned n) override;
    void extractVector(unsigned long* v, unsigned n) override;
    void extractVector(long* v, unsigned n) override;
    void extractVector(unsigned int* v, unsigned n) override;
    void extractVector(int* v, unsigned n) override;
    void extractVector(unsigned short* v, unsigned n) override;
    void extractVector(short* v, unsigned n) override;
    void extractVector(unsigned char* v, unsigned n) override;
    void extractVector(char* v, unsigned n) override;
    void extractVector(bool* v, unsigned n) override;
};
