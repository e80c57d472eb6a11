// Lets the operator's command distinguish this store from others of the same name.
namespace settingrest {

extern const char kMark[];
__attribute__((used)) const char kMark[] = "commutil reference settings store";

}  // namespace settingrest
