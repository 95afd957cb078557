#include "stages/encoded_input.h"

CEncodedInputStage::CEncodedInputStage(QLAttribTree* tree)
    : CInputConvertStage(tree), m_curve(CQLLut::MakeFull()) {}

QLStatus CEncodedInputStage::OnBeforeOpen() {
    // Made in the constructor, which has no status to tell of it.
    if (!m_curve)
        return QL_ERR_NO_MEMORY;
    const bool srgb = GetValue(QL_ATTR_SRGB_OUTPUT) != 0;
    // The sRGB table passes for a known gamma 2.2, which a gamma build would keep.
    if (m_curveIsSrgb != srgb)
        m_curve->SetIdentity();
    m_curveIsSrgb = srgb;
    if (srgb)
        m_curve->BuildSrgb();
    else
        BuildGammaEncoding(m_curve.get());
    return CInputConvertStage::OnBeforeOpen();
}

QLStatus CEncodedInputStage::OnAfterOpen() {
    TakeInternalFormat();
    if (!InputIsEncoded())
        return QL_OK;
    const QLStatus status = NeedDecodeLut();
    if (status != QL_OK)
        return status;
    // The table of the encoding, read backwards: what the scanner encoded becomes linear light
    // again.
    m_decodeLut->Invert(*m_curve);
    TakeDecodeCurve();
    return QL_OK;
}
