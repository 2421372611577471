#include "image/KernelPlan.h"

namespace image {

namespace {

const char* Name(KernelKind kind) {
    switch (kind) {
        case KernelKind::ZeroFill:
            return "ZeroFill";
        case KernelKind::FloatChain:
            return "FloatChain";
        case KernelKind::IntegerPlain:
            return "IntegerPlain";
        case KernelKind::IntegerExpanded:
            return "IntegerExpanded";
        case KernelKind::IntegerBoosted:
            return "IntegerBoosted";
        case KernelKind::FileTable:
            return "FileTable";
        case KernelKind::Combined16:
            return "Combined16";
        case KernelKind::Reorder:
            return "Reorder";
    }
    return "kind?";
}

const char* Name(InputLayout layout) {
    switch (layout) {
        case InputLayout::None:
            return "none";
        case InputLayout::Yuy2:
            return "yuy2";
        case InputLayout::Yuv16:
            return "yuv16";
        case InputLayout::Bgr4:
            return "bgr4";
        case InputLayout::Bgr16:
            return "bgr16";
    }
    return "layout?";
}

const char* Name(Matrix matrix) {
    switch (matrix) {
        case Matrix::None:
            return "";
        case Matrix::Bt709:
            return "bt709";
        case Matrix::Bt2020:
            return "bt2020";
    }
    return "matrix?";
}

const char* Name(PreScale scale) {
    switch (scale) {
        case PreScale::None:
            return "";
        case PreScale::Scale238:
            return "scale238";
        case PreScale::Scale219:
            return "scale219";
    }
    return "prescale?";
}

const char* Name(OutputStage stage) {
    switch (stage) {
        case OutputStage::None:
            return "";
        case OutputStage::Range709:
            return "range709";
        case OutputStage::Range2020:
            return "range2020";
        case OutputStage::By256:
            return "by256";
    }
    return "output?";
}

const char* Name(PixelOrder order) {
    switch (order) {
        case PixelOrder::Rgb:
            return "rgb";
        case PixelOrder::Rgb0:
            return "rgb0";
        case PixelOrder::Bgr0:
            return "bgr0";
    }
    return "order?";
}

const char* Name(TableId table) {
    switch (table) {
        case TableId::ConvData01:
            return "table01";
        case TableId::ConvData02:
            return "table02";
        case TableId::ConvData03:
            return "table03";
        case TableId::ConvData04:
            return "table04";
        case TableId::ConvData05:
            return "table05";
        case TableId::ConvData06:
            return "table06";
        case TableId::Runtime:
            return "runtime";
        case TableId::None:
            return "";
    }
    return "table?";
}

void Append(std::string& text, const std::string& word) {
    if (word.empty()) return;
    text += ' ';
    text += word;
}

}  // namespace

std::string Describe(const KernelPlan& plan) {
    std::string text = Name(plan.kind);
    // A zero-fill plan that is not the canonical one shows its stray fields, so that tests see
    // them.
    if (plan == KernelPlan{}) return text;
    Append(text, Name(plan.layout));
    Append(text, Name(plan.matrix));
    Append(text, Name(plan.preScale));
    switch (plan.lookup) {
        case Lookup::None:
            break;
        case Lookup::Lut3D:
            Append(text, "lut3d#" + std::to_string(plan.lutNumber));
            break;
        case Lookup::Curve1D:
            Append(text, "curve1d");
            break;
    }
    if (plan.lookup != Lookup::Lut3D && plan.lutNumber != 0) {
        Append(text, "lut#" + std::to_string(plan.lutNumber));
    }
    Append(text, Name(plan.output));
    Append(text, Name(plan.order));
    Append(text, Name(plan.table));
    return text;
}

}  // namespace image
