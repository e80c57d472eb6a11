// Lets the operator's command tell this store from another one of the same name.
namespace settingrest {

extern const char kMark[];
__attribute__((used)) const char kMark[] = "commutil reference settings store";

}  // namespace settingrest
