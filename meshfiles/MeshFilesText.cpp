// What came of reading or writing a mesh file, in words.

#include <Sorvane/MeshFiles_E.h>

namespace Velk::Math::Sorvane::MeshUtils {
namespace {

std::string FormText(MeshFileForm form)
{
    switch (form) {
    case MeshFileForm::AsciiStl:
        return "ASCII STL";
    case MeshFileForm::BinaryStl:
        return "binary STL";
    case MeshFileForm::Tipc:
        return "TIPC";
    case MeshFileForm::Unknown:
        break;
    }
    return "mesh file";
}

/// What the system said, to stand behind the words for the error.
std::string SystemText(const MeshFileResult& result)
{
    return result.system ? " (" + result.system.message() + ")" : std::string();
}

std::string SizeText(const MeshFileResult& result)
{
    return std::to_string(result.announcedBytes) + " bytes announced, " +
           std::to_string(result.actualBytes) + " there";
}

std::string CutShortText(const MeshFileResult& result)
{
    if (result.form == MeshFileForm::AsciiStl) {
        return "ends within a solid, in line " + std::to_string(result.place);
    }
    return result.actualBytes > 0 ? "cut short: " + SizeText(result)
                                  : std::string("cut short while it was read");
}

} // namespace

std::string MeshFileText(const MeshFileResult& result)
{
    const std::string form = FormText(result.form);
    const std::string place = std::to_string(result.place);
    switch (result.error) {
    case MeshFileError::None:
        return form;
    case MeshFileError::NoSuchFile:
        return "there is no such file";
    case MeshFileError::NoSuchFolder:
        return "its folder is not there";
    case MeshFileError::IsFolder:
        return "is a folder";
    case MeshFileError::NotOpened:
        return "can't be opened" + SystemText(result);
    case MeshFileError::ReadFailed:
        return "can't be read" + SystemText(result);
    case MeshFileError::EmptyFile:
        return "is empty";
    case MeshFileError::UnknownForm:
        return "is neither an STL nor a TIPC file";
    case MeshFileError::CutShort:
        return form + " " + CutShortText(result);
    case MeshFileError::TooLong:
        return form + " longer than it says: " + SizeText(result);
    case MeshFileError::Malformed:
        return form + " with an error in line " + place;
    case MeshFileError::NoTriangles:
        return form + " without triangles";
    case MeshFileError::IndexOutOfRange:
        return form + " with an index out of range in triangle " + place;
    case MeshFileError::NotFinite:
        return form + " with a coordinate that is not finite or too large in point " + place;
    case MeshFileError::TooLarge:
        return form + " with too many triangles";
    case MeshFileError::UnknownExtension:
        return "has an extension that names no form (.stl and .tipc do)";
    case MeshFileError::IncompleteTriangle:
        return form + " with an incomplete last triangle";
    case MeshFileError::TagsDoNotFit:
        return form + " with tags that are not one for each point or triangle";
    case MeshFileError::WriteFailed:
        return "can't be written" + SystemText(result);
    case MeshFileError::NotReplaced:
        return "can't be replaced" + SystemText(result);
    case MeshFileError::Flattened:
        return form + " whose 32-bit floats would flatten the part, beginning with triangle " +
               place;
    }
    return "unknown error";
}

} // namespace Velk::Math::Sorvane::MeshUtils
